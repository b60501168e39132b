#include "panel/WebLinks.h"

#include <QHash>
#include <algorithm>

namespace velmo {

namespace {

bool endsAddress(QChar unit)
{
    static constexpr QStringView kNever = u"<>\"`{}|\\^";
    return unit.isSpace() || unit.category() == QChar::Other_Control || kNever.contains(unit);
}

bool isSentencePunctuation(QChar unit)
{
    static constexpr QStringView kPunctuation = u".,;:!?'*_~…。，、！？；：»”’";
    return kPunctuation.contains(unit);
}

/// The bracket that would open what this one closes; null for anything else.
QChar openingOf(QChar unit)
{
    switch (unit.unicode()) {
    case u')':
        return u'(';
    case u']':
        return u'[';
    case u'）':
        return u'（';
    case u'」':
        return u'「';
    default:
        return {};
    }
}

/// Without what only stands beside the address in a sentence.
QStringView withoutTail(QStringView address)
{
    // Counted at the first bracket of a kind: an address may end in thousands of them.
    QHash<QChar, qsizetype> excess;
    while (!address.isEmpty()) {
        const QChar last = address.back();
        const QChar opening = openingOf(last);
        if (!opening.isNull()) {
            if (!excess.contains(last))
                excess.insert(last, address.count(last) - address.count(opening));
            if (excess[last]-- <= 0)
                break;
        } else if (!isSentencePunctuation(last)) {
            break;
        }
        address.chop(1);
    }
    return address;
}

bool isWordBefore(QStringView text, qsizetype position)
{
    // Scripts without spaces between words have them before an address neither.
    constexpr char16_t kLastAscii = 0x7f;
    if (position == 0 || text.at(position - 1) > kLastAscii)
        return false;
    return text.at(position - 1).isLetterOrNumber() || text.at(position - 1) == u'_';
}

} // namespace

std::vector<WebLink> findWebLinks(QStringView text, qsizetype from)
{
    constexpr QStringView kScheme = u"http";
    std::vector<WebLink> links;
    for (qsizetype begin = text.indexOf(kScheme, from, Qt::CaseInsensitive); begin >= 0;
         begin = text.indexOf(kScheme, from, Qt::CaseInsensitive)) {
        const QStringView rest = text.mid(begin, kLongestWebLink);
        from = begin + kScheme.size();
        const bool hasScheme = rest.startsWith(u"http://", Qt::CaseInsensitive) ||
                               rest.startsWith(u"https://", Qt::CaseInsensitive);
        if (!hasScheme || isWordBefore(text, begin))
            continue;
        const auto* const end = std::ranges::find_if(rest, endsAddress);
        const QStringView address = withoutTail(rest.left(end - rest.begin()));
        if (!webAddress(address).isValid())
            continue;
        links.push_back({begin, begin + address.size()});
        from = begin + address.size();
    }
    return links;
}

QUrl webAddress(QStringView link)
{
    const QUrl url(link.toString(), QUrl::TolerantMode);
    const bool isWeb = url.scheme() == QStringLiteral("http") || url.scheme() == QStringLiteral("https");
    return isWeb && !url.host().isEmpty() ? url : QUrl();
}

} // namespace velmo
