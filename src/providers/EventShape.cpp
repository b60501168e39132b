#include "providers/EventShape.h"

#include <algorithm>
#include <array>

namespace velmo {

namespace {

/// Longer events are rare, and not worth keeping.
constexpr qsizetype kLongestEvent = qsizetype(16) * 1024;

/// A service whose events differ in more than their text is not tried again and again.
constexpr int kPatience = 4;

/// The character that an escape of two bytes stands for; 0 for the others, which are left to the parser.
char unescaped(char letter)
{
    switch (letter) {
    case '"':
    case '\\':
    case '/':
        return letter;
    case 'n':
        return '\n';
    case 't':
        return '\t';
    case 'r':
        return '\r';
    default:
        return '\0';
    }
}

bool isPlain(char byte)
{
    return static_cast<unsigned char>(byte) >= ' ' && byte != '"' && byte != '\\';
}

std::optional<QString> decodeEscapes(QByteArrayView string)
{
    QByteArray bytes;
    bytes.reserve(string.size());
    for (qsizetype position = 0; position < string.size(); ++position) {
        if (isPlain(string[position])) {
            bytes.append(string[position]);
            continue;
        }
        const bool escape = string[position] == '\\' && position + 1 < string.size();
        const char character = escape ? unescaped(string[++position]) : '\0';
        if (character == '\0')
            return std::nullopt;
        bytes.append(character);
    }
    return QString::fromUtf8(bytes);
}

/// What a JSON string says that has no quotation mark of its own; nothing if only the parser can tell.
std::optional<QString> decodeString(QByteArrayView string)
{
    // Decoding drops this mark at the beginning of a text, where a parser keeps it.
    if (string.startsWith("\xEF\xBB\xBF"))
        return std::nullopt;
    if (std::all_of(string.begin(), string.end(), isPlain))
        return QString::fromUtf8(string);
    return decodeEscapes(string);
}

/// The position after the quotation mark that ends the string, or -1.
qsizetype endOfString(QByteArrayView line, qsizetype position)
{
    for (; position < line.size(); ++position) {
        if (line[position] == '\\')
            ++position;
        else if (line[position] == '"')
            return position + 1;
    }
    return -1;
}

bool isKey(QByteArrayView line, qsizetype afterString)
{
    while (afterString < line.size() && line[afterString] == ' ')
        ++afterString;
    return afterString < line.size() && line[afterString] == ':';
}

} // namespace

std::optional<QString> EventShape::pieceIn(QByteArrayView line)
{
    if (!fits(line)) {
        auto piece = processLine_(line);
        if (piece && uselessShapes_ < kPatience && line.size() <= kLongestEvent)
            learn(line);
        return piece;
    }
    uselessShapes_ = 0;
    if (auto piece = decodeString(line.sliced(before_.size(), line.size() - before_.size() - after_.size())))
        return piece;
    return processLine_(line);
}

bool EventShape::fits(QByteArrayView line) const
{
    return !before_.isEmpty() && line.size() >= before_.size() + after_.size() && line.startsWith(before_) &&
           line.endsWith(after_);
}

/// The piece is one of the strings in the line: the one that can be exchanged, and the piece is what it was
/// exchanged for.
void EventShape::learn(QByteArrayView line)
{
    ++uselessShapes_;
    before_.clear();
    for (qsizetype quote = line.indexOf('"'); quote >= 0; quote = line.indexOf('"', quote)) {
        const qsizetype end = endOfString(line, quote + 1);
        if (end < 0)
            return;
        const QByteArrayView before = line.first(quote + 1);
        const QByteArrayView after = line.sliced(end - 1);
        if (!isKey(line, end) && holdsThePiece(before, after)) {
            before_ = before.toByteArray();
            after_ = after.toByteArray();
            return;
        }
        quote = end;
    }
}

bool EventShape::holdsThePiece(QByteArrayView before, QByteArrayView after) const
{
    // Two, since one of them might by chance be what another string in the line says.
    constexpr std::array kProbes{"one probe", "another probe"};
    return std::all_of(kProbes.begin(), kProbes.end(), [&](const char* probe) {
        const QByteArray line = before.toByteArray() + probe + after.toByteArray();
        return processLine_(line) == QString::fromLatin1(probe);
    });
}

} // namespace velmo
