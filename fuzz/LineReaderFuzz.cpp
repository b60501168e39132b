// However a stream is cut into pieces, the same lines come out of it.

#include "providers/LineReader.h"

#include <QByteArrayList>
#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {

QByteArrayList linesOf(QByteArrayView stream, qsizetype pieceBytes)
{
    QByteArrayList lines;
    velmo::LineReader reader([&lines](QByteArrayView line) { lines.append(line.toByteArray()); });
    while (!stream.isEmpty()) {
        const qsizetype count = std::min(pieceBytes, stream.size());
        reader.feed(stream.first(count));
        stream = stream.sliced(count);
    }
    reader.finish();
    return lines;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    // The first byte decides how the rest is cut.
    const qsizetype pieceBytes = 1 + data[0] % 16;
    const QByteArrayView stream(data + 1, static_cast<qsizetype>(size) - 1);
    const QByteArrayList whole = linesOf(stream, std::max<qsizetype>(stream.size(), 1));
    if (linesOf(stream, pieceBytes) != whole)
        std::abort();
    for (const QByteArray& line : whole) {
        if (line.contains('\n') || line.contains('\r') || !line.isValidUtf8())
            std::abort();
    }
    return 0;
}
