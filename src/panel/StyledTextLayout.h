#pragma once

#include "markdown/StyledText.h"

#include <QDeadlineTimer>
#include <QFont>
#include <QRectF>
#include <QStringView>
#include <QTextLayout>
#include <array>
#include <memory>
#include <vector>

class QPainter;

namespace velmo {

/// The fonts of messages, by style.
struct MessageFonts {
    std::array<QFont, 4> fonts;
    std::array<double, 4> heights; ///< Of a line, without anything added, in points.

    /// In the desktop's fonts as they are now.
    [[nodiscard]] static const MessageFonts& current();
    [[nodiscard]] const QFont& font(markdown::Style style) const
    {
        return fonts.at(static_cast<std::size_t>(style));
    }
    [[nodiscard]] double height(markdown::Style style) const
    {
        return heights.at(static_cast<std::size_t>(style));
    }
};

/// A part of a text, by its first unit and the one after its last.
struct TextRange {
    qsizetype begin = 0;
    qsizetype end = 0;
};

/// The lines of a text that grows at its end, in the fonts of answers. What is laid out stays laid out: a
/// change costs what comes after it, and of a long paragraph the last few lines only.
///
/// Points, from the text's top left, y downward. Positions are units of UTF-16. Main thread.
class StyledTextLayout {
public:
    /// Without a width there are no lines yet.
    explicit StyledTextLayout(double width = 0);

    [[nodiscard]] const markdown::StyledText& text() const { return text_; }
    [[nodiscard]] QStringView textView() const { return QStringView(text_.text); }
    [[nodiscard]] qsizetype size() const { return static_cast<qsizetype>(text_.text.size()); }

    /// From the position on, the text becomes that of whole, which agrees with it before. What is above the
    /// height that this gives back stays as it is.
    double replaceFrom(qsizetype position, const markdown::StyledText& whole);
    /// Lays out what is not laid out yet, one stretch at least; false if the deadline came first.
    bool layOut(QDeadlineTimer deadline = QDeadlineTimer(QDeadlineTimer::Forever));

    [[nodiscard]] bool isLaidOut() const { return laidOutEnd() == size(); }

    [[nodiscard]] double width() const { return width_; }
    /// Of the lines so far, without a line that a final line end would begin.
    [[nodiscard]] double height() const;
    /// Of the longest line so far.
    [[nodiscard]] double usedWidth() const;

    /// Whether any line runs from right to left, so that where it stands depends on the width.
    [[nodiscard]] bool hasRightToLeft() const;
    /// All lines are broken anew.
    void setWidth(double width);

    /// Draws the lines that meet the clip in the painter's pen colour.
    void draw(QPainter& painter, const QRectF& clip) const;

    /// The place between two characters that is nearest to the point, or the character that it is on.
    [[nodiscard]] qsizetype
    positionAt(QPointF point, QTextLine::CursorPosition nearest = QTextLine::CursorBetweenCharacters) const;
    /// All that has a line between those heights, and perhaps a little more.
    [[nodiscard]] std::pair<qsizetype, qsizetype> rangeBetween(double top, double bottom) const;
    /// Where the range is on its lines, one rectangle a line or several where it is written in both
    /// directions; whole lines high.
    [[nodiscard]] std::vector<QRectF> rectanglesOf(qsizetype begin, qsizetype end) const;
    /// The line that the unit at the position is on, with its line end; the last one for the text's end.
    [[nodiscard]] TextRange lineAround(qsizetype position) const;
    /// Where a text cursor would stand: without width, a line high.
    [[nodiscard]] QRectF cursorRectangle(qsizetype position) const;

private:
    /// Lines that were laid out together: a paragraph or a stretch of a long one.
    struct Stretch {
        qsizetype begin = 0;
        qsizetype end = 0;         ///< Of the text on its lines.
        qsizetype next = 0;        ///< Where what follows begins: after the line end, if there is one.
        bool endsParagraph = true; ///< False where a long paragraph goes on below.
        bool isRightToLeft = false;
        bool isMixed = false; ///< Some of it runs from right to left.
        int lineCount = 0;    ///< The layout may have more, which belong to the next stretch.
        std::unique_ptr<QTextLayout> layout;
        std::vector<double> lineTops; ///< From the stretch's top; one more than there are lines.
        double top = 0;
        double usedWidth = 0;
    };

    [[nodiscard]] qsizetype laidOutEnd() const;
    [[nodiscard]] Stretch makeStretch(qsizetype begin) const;
    void breakLines(Stretch& stretch) const;
    [[nodiscard]] QList<QTextLayout::FormatRange> formats(qsizetype begin, qsizetype end) const;
    [[nodiscard]] double lineHeight(const QTextLine& line, qsizetype stretchBegin) const;
    [[nodiscard]] std::vector<Stretch>::const_iterator stretchAt(qsizetype position) const;
    [[nodiscard]] std::vector<Stretch>::const_iterator stretchAtHeight(double y) const;

    [[nodiscard]] bool isSettledBefore(const Stretch& stretch, qsizetype position) const;

    double width_;
    MessageFonts fonts_ = MessageFonts::current();
    markdown::StyledText text_;
    std::vector<Stretch> stretches_;
};

} // namespace velmo
