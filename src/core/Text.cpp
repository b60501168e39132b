#include "core/Text.h"

#include <QStringDecoder>
#include <QTextBoundaryFinder>
#include <system_error>

namespace velmo {

namespace {

/// Below this code unit nothing joins with its neighbours but CR with LF, so counting needs no tables.
constexpr char16_t kFirstCombining = 0x0300;

/// The end of the longest run from start in which every code unit stands alone. The last unit is left out
/// when something that could extend it follows.
qsizetype simpleRunEnd(QStringView text, qsizetype start)
{
    qsizetype end = start;
    while (end < text.size() && text[end].unicode() < kFirstCombining)
        ++end;
    if (end < text.size() && end > start)
        --end;
    return end;
}

/// Calls visit(position) after every character; visit returns false to stop.
template <typename Visit>
void forEachCharacterEnd(QStringView text, Visit visit)
{
    qsizetype position = 0;
    while (position < text.size()) {
        const qsizetype runEnd = simpleRunEnd(text, position);
        while (position < runEnd) {
            const bool crlf =
                text[position] == u'\r' && position + 1 < text.size() && text[position + 1] == u'\n';
            position += crlf ? 2 : 1;
            if (!visit(position))
                return;
        }
        if (position >= text.size())
            return;
        // Line feeds always separate, so the finder's tables never cover more than one line.
        const qsizetype lineFeed = text.indexOf(u'\n', position);
        const qsizetype lineEnd = lineFeed < 0 ? text.size() : lineFeed + 1;
        const QStringView line = text.sliced(position, lineEnd - position);
        QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, line.data(), line.size());
        while (true) {
            const qsizetype next = finder.toNextBoundary();
            if (next < 0)
                break;
            if (!visit(position + next))
                return;
        }
        position = lineEnd;
    }
}

} // namespace

qsizetype characterCount(QStringView text)
{
    qsizetype count = 0;
    forEachCharacterEnd(text, [&count](qsizetype) {
        ++count;
        return true;
    });
    return count;
}

QStringView characterPrefix(QStringView text, qsizetype count)
{
    if (count <= 0)
        return text.first(0);
    qsizetype seen = 0;
    qsizetype end = text.size();
    forEachCharacterEnd(text, [&](qsizetype position) {
        if (++seen < count)
            return true;
        end = position;
        return false;
    });
    return text.first(end);
}

std::optional<QString> decodeUtf8(QByteArrayView bytes)
{
    if (!bytes.isValidUtf8())
        return std::nullopt;
    return QString::fromUtf8(bytes);
}

QString uuidText(const QUuid& id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

QString withoutSecret(QString text, const QString& secret)
{
    return secret.isEmpty() ? text : text.replace(secret, QStringLiteral("***"));
}

QString systemErrorText(int error)
{
    return QString::fromLocal8Bit(std::generic_category().message(error).c_str());
}

} // namespace velmo
