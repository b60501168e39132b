#include "providers/LineReader.h"

namespace velmo {

void LineReader::feed(QByteArrayView bytes)
{
    const qsizetype firstEnd = bytes.indexOf('\n');
    if (firstEnd < 0) {
        append(bytes);
        return;
    }
    endLine(bytes.first(firstEnd));
    // All further lines but the unfinished last one lie here whole, and mostly they are ordinary: one look at
    // all of them then spares a look at each.
    const qsizetype wholeEnd = bytes.lastIndexOf('\n') + 1;
    QByteArrayView whole = bytes.first(wholeEnd).sliced(firstEnd + 1);
    const bool ordinary = whole.size() <= kMaximumLineBytes && !whole.contains('\r') && whole.isValidUtf8();
    while (!whole.isEmpty()) {
        const qsizetype end = whole.indexOf('\n');
        if (ordinary)
            handler_(whole.first(end));
        else
            endLine(whole.first(end));
        whole = whole.sliced(end + 1);
    }
    append(bytes.sliced(wholeEnd));
}

void LineReader::finish()
{
    if (!partial_.isEmpty() && !tooLong_)
        handOver(partial_);
    partial_.clear();
    tooLong_ = false;
}

void LineReader::append(QByteArrayView bytes)
{
    while (!tooLong_ && !bytes.isEmpty()) {
        const qsizetype carriageReturn = bytes.indexOf('\r');
        const QByteArrayView run = carriageReturn < 0 ? bytes : bytes.first(carriageReturn);
        if (partial_.size() + run.size() > kMaximumLineBytes) {
            tooLong_ = true;
            partial_.clear();
            return;
        }
        partial_.append(run);
        bytes = carriageReturn < 0 ? QByteArrayView() : bytes.sliced(carriageReturn + 1);
    }
}

void LineReader::endLine(QByteArrayView bytes)
{
    // A line that came whole and plain is handed over where it lies.
    if (partial_.isEmpty() && !tooLong_ && !bytes.contains('\r') && bytes.size() <= kMaximumLineBytes) {
        handOver(bytes);
        return;
    }
    append(bytes);
    if (!tooLong_)
        handOver(partial_);
    // Its memory is kept for the next line, unless one line was out of the ordinary.
    constexpr qsizetype kKeptBytes = qsizetype(64) * 1024;
    if (partial_.capacity() > kKeptBytes)
        partial_.clear();
    else
        partial_.resize(0);
    tooLong_ = false;
}

void LineReader::handOver(QByteArrayView line) const
{
    if (line.isValidUtf8())
        handler_(line);
}

} // namespace velmo
