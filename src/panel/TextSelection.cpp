#include "panel/TextSelection.h"

#include "panel/LineEnds.h"

#include <QTextBoundaryFinder>

namespace velmo {

namespace {

/// Words are looked for in this much text around a position, however long the text is.
constexpr qsizetype kSurroundings = 512;

/// A part of the text that begins and ends between characters.
struct Surroundings {
    qsizetype begin;
    QStringView text;

    Surroundings(QStringView whole, qsizetype position)
        : begin(std::max<qsizetype>(position - kSurroundings, 0))
        , text(whole.mid(begin, 2 * kSurroundings))
    {
        if (!text.isEmpty() && text.front().isLowSurrogate() && begin > 0) {
            ++begin;
            text = text.mid(1);
        }
    }
};

} // namespace

void TextSelection::set(qsizetype anchor, qsizetype cursor)
{
    unit_ = Unit::Character;
    first_ = {anchor, anchor};
    cover(anchor, cursor);
}

void TextSelection::trimTo(qsizetype position)
{
    first_ = {std::min(first_.begin, position), std::min(first_.end, position)};
    cover(std::min(anchor_, position), std::min(cursor_, position));
}

void TextSelection::cover(qsizetype anchor, qsizetype cursor)
{
    anchor_ = anchor;
    cursor_ = cursor;
}

void TextSelection::beginWith(QStringView text, qsizetype position, Unit unit)
{
    unit_ = unit;
    first_ = unitAround(text, position, unit);
    cover(first_.begin, first_.end);
}

void TextSelection::extendTo(QStringView text, qsizetype position)
{
    const Range reached = unitAround(text, position, unit_);
    if (reached.begin < first_.begin)
        cover(first_.end, reached.begin);
    else
        cover(first_.begin, std::max(first_.end, reached.end));
}

TextSelection::Range TextSelection::unitAround(QStringView text, qsizetype position, Unit unit)
{
    switch (unit) {
    case Unit::Character:
        break;
    case Unit::Word: {
        // Behind the end of a line its last word is meant.
        const bool isBehindLine = position == text.size() || endsParagraph(text.at(position));
        if (isBehindLine && position > 0 && !endsParagraph(text.at(position - 1)))
            --position;
        const Surroundings around(text, position);
        QTextBoundaryFinder finder(QTextBoundaryFinder::Word, around.text.data(), around.text.size());
        finder.setPosition(std::min(position - around.begin, around.text.size() - 1));
        const qsizetype begin = finder.isAtBoundary() ? finder.position() : finder.toPreviousBoundary();
        finder.setPosition(begin);
        const qsizetype end = finder.toNextBoundary();
        if (begin < 0 || end < 0)
            break;
        return {around.begin + begin, around.begin + end};
    }
    case Unit::Paragraph: {
        qsizetype begin = position;
        while (begin > 0 && !endsParagraph(text.at(begin - 1)))
            --begin;
        qsizetype end = position;
        while (end < text.size() && !endsParagraph(text.at(end)))
            ++end;
        return {begin, end};
    }
    }
    return {position, position};
}

qsizetype TextSelection::stepFrom(QStringView text, qsizetype position, int direction, Unit unit)
{
    const Surroundings around(text, position);
    QTextBoundaryFinder finder(unit == Unit::Word ? QTextBoundaryFinder::Word : QTextBoundaryFinder::Grapheme,
                               around.text.data(), around.text.size());
    finder.setPosition(position - around.begin);
    const auto step = [&] { return direction < 0 ? finder.toPreviousBoundary() : finder.toNextBoundary(); };
    qsizetype reached = step();
    // By words the cursor stops where they begin, and not at the white space between them.
    while (unit == Unit::Word && reached >= 0 && reached < around.text.size() &&
           around.text.at(reached).isSpace())
        reached = step();
    if (reached < 0)
        return direction < 0 ? 0 : text.size();
    return around.begin + reached;
}

} // namespace velmo
