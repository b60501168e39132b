#include "providers/LineReader.h"

namespace velmo {

void LineReader::feed(QByteArrayView bytes)
{
    while (!bytes.isEmpty()) {
        const qsizetype lineFeed = bytes.indexOf('\n');
        if (lineFeed < 0) {
            append(bytes);
            return;
        }
        endLine(bytes.first(lineFeed));
        bytes = bytes.sliced(lineFeed + 1);
    }
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
    // Most lines come whole and plain: those are handed over where they lie.
    if (partial_.isEmpty() && !tooLong_ && !bytes.contains('\r') && bytes.size() <= kMaximumLineBytes) {
        handOver(bytes);
        return;
    }
    append(bytes);
    if (!tooLong_)
        handOver(partial_);
    // Its memory is kept for the next line, unless one line was out of the ordinary.
    constexpr qsizetype kKeptBytes = 64 * 1024;
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
