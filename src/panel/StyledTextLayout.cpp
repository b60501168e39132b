#include "panel/StyledTextLayout.h"

#include "panel/LineEnds.h"
#include "widgets/SystemFont.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

constexpr double kLineHeightMultiple = 1.25;
constexpr double kParagraphSpacing = 3;
/// Where a paragraph is longer, what stands above its last lines is laid out once and for all.
constexpr qsizetype kStretchLength = 1024;
/// Right-to-left text is ordered paragraph by paragraph, so it is cut up only where it would take too long.
constexpr qsizetype kMixedStretchLength = 16384;
/// Those at the end of a stretch may still change with what follows: a word that grows moves to the next
/// line.
constexpr int kUnsettledLines = 2;
/// And so many units are more than these lines hold.
constexpr qsizetype kUnsettledLength = kStretchLength / 2;
constexpr double kTabWidth = 28;

bool isRightToLeft(QChar::Direction direction)
{
    return direction == QChar::DirR || direction == QChar::DirAL || direction == QChar::DirAN ||
           direction == QChar::DirRLE || direction == QChar::DirRLO || direction == QChar::DirRLI;
}

bool containsRightToLeft(QStringView text)
{
    return std::ranges::any_of(text, [](QChar unit) {
        // Only the surrogates of these planes can stand for letters written from right to left.
        constexpr char16_t kFirstRightToLeft = 0x590;
        return unit.unicode() >= kFirstRightToLeft &&
               (isRightToLeft(unit.direction()) ||
                (unit.unicode() >= 0xd802 && unit.unicode() <= 0xd83b && unit.isHighSurrogate()));
    });
}

using Span = std::pair<double, double>;

std::vector<Span> plainSpan(const QTextLine& line, qsizetype from, qsizetype to)
{
    return {{line.cursorToX(static_cast<int>(from)), line.cursorToX(static_cast<int>(to))}};
}

/// What is one range in the text may be several on a line that runs in both directions.
std::vector<Span> mixedSpans(const QTextLine& line, qsizetype from, qsizetype to)
{
    std::vector<Span> spans;
    for (qsizetype at = from; at < to; ++at) {
        const double leading = line.cursorToX(static_cast<int>(at), QTextLine::Leading);
        const double trailing = line.cursorToX(static_cast<int>(at), QTextLine::Trailing);
        const Span span{std::min(leading, trailing), std::max(leading, trailing)};
        if (!spans.empty() && span.first <= spans.back().second && span.second >= spans.back().first)
            spans.back() = {std::min(spans.back().first, span.first),
                            std::max(spans.back().second, span.second)};
        else
            spans.push_back(span);
    }
    return spans;
}

/// Control characters would be shown as boxes; they take a place without a width instead.
QString printable(QStringView text)
{
    constexpr QChar kInvisible(0x2060);
    QString result = text.toString();
    for (QChar& unit : result) {
        if (unit.category() == QChar::Other_Control && unit != u'\t')
            unit = kInvisible;
    }
    return result;
}

MessageFonts makeFonts()
{
    constexpr int kBodySize = 13;
    constexpr int kHeadingSize = 14;
    constexpr double kCodeSize = 12.5;
    MessageFonts result;
    result.fonts = {systemFont(kBodySize), systemFont(kBodySize, QFont::DemiBold), fixedFont(kCodeSize),
                    systemFont(kHeadingSize, QFont::DemiBold)};
    std::ranges::transform(result.fonts, result.heights.begin(),
                           [](const QFont& font) { return QFontMetricsF(font).height(); });
    return result;
}

} // namespace

const MessageFonts& MessageFonts::current()
{
    // Kept, because looking fonts up takes a while, for as long as the user stays with that font.
    static QFont madeFor = QGuiApplication::font();
    static MessageFonts fonts = makeFonts();
    if (const QFont now = QGuiApplication::font(); now != madeFor) {
        madeFor = now;
        fonts = makeFonts();
    }
    return fonts;
}

StyledTextLayout::StyledTextLayout(double width)
    : width_(width)
{}

double StyledTextLayout::replaceFrom(qsizetype position, const markdown::StyledText& whole)
{
    while (!stretches_.empty() && !isSettledBefore(stretches_.back(), position))
        stretches_.pop_back();
    const auto from = static_cast<std::size_t>(position);
    text_.text.replace(from, std::u16string::npos, whole.text, from, std::u16string::npos);
    text_.styles.resize(from);
    text_.styles.insert(text_.styles.end(), whole.styles.begin() + position, whole.styles.end());
    return height();
}

/// Whether its lines stay the same, whatever the text becomes from the position on.
bool StyledTextLayout::isSettledBefore(const Stretch& stretch, qsizetype position) const
{
    if (!stretch.endsParagraph)
        return stretch.next + kUnsettledLength <= position;
    // A carriage return at the end may turn out to be the first half of a line end.
    const bool endsInReturn =
        stretch.next > stretch.end && text_.text[static_cast<std::size_t>(stretch.next) - 1] == u'\r';
    if (stretch.next < position)
        return true;
    return stretch.next == position && stretch.next > stretch.end && !endsInReturn;
}

bool StyledTextLayout::layOut(QDeadlineTimer deadline)
{
    while (width_ > 0 && laidOutEnd() < size()) {
        Stretch stretch = makeStretch(laidOutEnd());
        stretch.top = height();
        if (!stretches_.empty() && stretches_.back().endsParagraph)
            stretch.top += kParagraphSpacing;
        stretches_.push_back(std::move(stretch));
        if (deadline.hasExpired())
            return laidOutEnd() == size();
    }
    return true;
}

qsizetype StyledTextLayout::laidOutEnd() const
{
    return stretches_.empty() ? 0 : stretches_.back().next;
}

StyledTextLayout::Stretch StyledTextLayout::makeStretch(qsizetype begin) const
{
    const bool continues = !stretches_.empty() && !stretches_.back().endsParagraph;
    const QStringView rest = textView().mid(begin);
    for (qsizetype limit = kStretchLength;; limit *= 2) {
        const QStringView within = rest.left(limit);
        const auto* const lineEnd = std::ranges::find_if(within, endsParagraph);
        const qsizetype length = lineEnd - within.begin();
        const bool isCut = length == limit && limit < rest.size();
        if (isCut && limit < kMixedStretchLength && containsRightToLeft(within))
            continue;
        Stretch stretch;
        stretch.begin = begin;
        stretch.isRightToLeft =
            continues ? stretches_.back().isRightToLeft : within.left(length).isRightToLeft();
        stretch.isMixed = containsRightToLeft(within.left(length));
        stretch.end = begin + length;
        stretch.next = stretch.end;
        breakLines(stretch);
        if (isCut) {
            // Without end, units that have no width would all be on one line.
            const bool isHuge = limit >= kMixedStretchLength;
            if (stretch.lineCount <= kUnsettledLines && !isHuge)
                continue;
            stretch.endsParagraph = false;
            if (stretch.lineCount > kUnsettledLines) {
                stretch.lineCount -= kUnsettledLines;
                stretch.lineTops.resize(static_cast<std::size_t>(stretch.lineCount) + 1);
                stretch.end = begin + stretch.layout->lineAt(stretch.lineCount).textStart();
                stretch.next = stretch.end;
            }
        } else if (length < rest.size()) {
            const bool isPair =
                rest.at(length) == u'\r' && length + 1 < rest.size() && rest.at(length + 1) == u'\n';
            stretch.next += isPair ? 2 : 1;
        }
        return stretch;
    }
}

void StyledTextLayout::breakLines(Stretch& stretch) const
{
    stretch.layout =
        std::make_unique<QTextLayout>(printable(textView().mid(stretch.begin, stretch.end - stretch.begin)),
                                      fonts_.font(markdown::Style::Base));
    QTextLayout& layout = *stretch.layout;
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    option.setTabStopDistance(kTabWidth);
    option.setTextDirection(stretch.isRightToLeft ? Qt::RightToLeft : Qt::LeftToRight);
    option.setAlignment(stretch.isRightToLeft ? Qt::AlignRight : Qt::AlignLeft);
    layout.setTextOption(option);
    layout.setFormats(formats(stretch.begin, stretch.end));
    layout.setCacheEnabled(true);
    const QFontMetricsF body(fonts_.font(markdown::Style::Base));
    double top = 0;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width_);
        const double height = lineHeight(line, stretch.begin);
        stretch.lineTops.push_back(top);
        // The baseline is that of body text, so that it does not jump for a line with another script's font.
        const double ascent = std::max(line.ascent(), body.ascent());
        const double natural = std::max(line.height(), body.height());
        line.setPosition(QPointF(0, top + std::floor((height - natural) / 2) + ascent - line.ascent()));
        stretch.usedWidth = std::max(stretch.usedWidth, line.naturalTextWidth());
        top += height;
        ++stretch.lineCount;
    }
    layout.endLayout();
    stretch.lineTops.push_back(top);
}

QList<QTextLayout::FormatRange> StyledTextLayout::formats(qsizetype begin, qsizetype end) const
{
    QList<QTextLayout::FormatRange> ranges;
    const auto styleAt = [this](qsizetype at) { return text_.styles[static_cast<std::size_t>(at)]; };
    for (qsizetype from = begin; from < end;) {
        qsizetype to = from + 1;
        while (to < end && styleAt(to) == styleAt(from))
            ++to;
        if (styleAt(from) != markdown::Style::Base) {
            QTextLayout::FormatRange range;
            range.start = static_cast<int>(from - begin);
            range.length = static_cast<int>(to - from);
            range.format.setFont(fonts_.font(styleAt(from)));
            ranges.append(range);
        }
        from = to;
    }
    return ranges;
}

/// The multiple of the height that the line's style has by itself. A font that stands in for missing
/// characters is often taller; its lines grow only as far as they must.
double StyledTextLayout::lineHeight(const QTextLine& line, qsizetype stretchBegin) const
{
    double natural = fonts_.height(markdown::Style::Base);
    const auto first = text_.styles.begin() + stretchBegin + line.textStart();
    if (std::find(first, first + line.textLength(), markdown::Style::Heading) != first + line.textLength())
        natural = std::max(natural, fonts_.height(markdown::Style::Heading));
    return std::max(std::round(kLineHeightMultiple * natural), std::ceil(line.height()));
}

bool StyledTextLayout::hasRightToLeft() const
{
    return std::ranges::any_of(stretches_, &Stretch::isRightToLeft);
}

void StyledTextLayout::setWidth(double width)
{
    width_ = width;
    stretches_.clear();
}

double StyledTextLayout::height() const
{
    return stretches_.empty() ? 0 : stretches_.back().top + stretches_.back().lineTops.back();
}

double StyledTextLayout::usedWidth() const
{
    double width = 0;
    for (const Stretch& stretch : stretches_)
        width = std::max(width, stretch.usedWidth);
    return width;
}

std::vector<StyledTextLayout::Stretch>::const_iterator StyledTextLayout::stretchAt(qsizetype position) const
{
    return std::ranges::upper_bound(stretches_, position, {}, &Stretch::next);
}

std::vector<StyledTextLayout::Stretch>::const_iterator StyledTextLayout::stretchAtHeight(double y) const
{
    return std::ranges::upper_bound(
        stretches_, y, {}, [](const Stretch& stretch) { return stretch.top + stretch.lineTops.back(); });
}

void StyledTextLayout::draw(QPainter& painter, const QRectF& clip) const
{
    // Some glyphs reach out of their line a little.
    constexpr double kReach = 6;
    const double from = clip.top() - kReach;
    const double to = clip.bottom() + kReach;
    for (auto stretch = stretchAtHeight(from); stretch != stretches_.end() && stretch->top < to; ++stretch) {
        for (int index = 0; index < stretch->lineCount; ++index) {
            const double top = stretch->top + stretch->lineTops[static_cast<std::size_t>(index)];
            const double bottom = stretch->top + stretch->lineTops[static_cast<std::size_t>(index) + 1];
            if (bottom > from && top < to)
                stretch->layout->lineAt(index).draw(&painter, QPointF(0, stretch->top));
        }
    }
}

qsizetype StyledTextLayout::positionAt(QPointF point, QTextLine::CursorPosition nearest) const
{
    if (stretches_.empty() || point.y() < 0)
        return 0;
    const auto stretch = stretchAtHeight(point.y());
    if (stretch == stretches_.end())
        return stretches_.back().end;
    const auto below = std::upper_bound(stretch->lineTops.begin() + 1, stretch->lineTops.end() - 1,
                                        point.y() - stretch->top);
    const auto index = static_cast<int>(below - stretch->lineTops.begin()) - 1;
    return stretch->begin + stretch->layout->lineAt(index).xToCursor(point.x(), nearest);
}

std::pair<qsizetype, qsizetype> StyledTextLayout::rangeBetween(double top, double bottom) const
{
    const auto first = stretchAtHeight(top);
    const auto last = stretchAtHeight(bottom);
    return {first == stretches_.end() ? size() : first->begin,
            last == stretches_.end() ? size() : last->next};
}

std::vector<QRectF> StyledTextLayout::rectanglesOf(qsizetype begin, qsizetype end) const
{
    std::vector<QRectF> rectangles;
    for (auto stretch = stretchAt(begin); stretch != stretches_.end() && stretch->begin < end; ++stretch) {
        for (int index = 0; index < stretch->lineCount; ++index) {
            const QTextLine line = stretch->layout->lineAt(index);
            const qsizetype lineBegin = stretch->begin + line.textStart();
            const qsizetype from = std::max(begin, lineBegin);
            const qsizetype to = std::min(end, lineBegin + line.textLength());
            if (from >= to)
                continue;
            const double top = stretch->top + stretch->lineTops[static_cast<std::size_t>(index)];
            const double bottom = stretch->top + stretch->lineTops[static_cast<std::size_t>(index) + 1];
            const auto spans = stretch->isMixed ? mixedSpans(line, from - stretch->begin, to - stretch->begin)
                                                : plainSpan(line, from - stretch->begin, to - stretch->begin);
            for (const auto& [left, right] : spans)
                rectangles.emplace_back(QPointF(left, top), QPointF(right, bottom));
        }
    }
    return rectangles;
}

TextRange StyledTextLayout::lineAround(qsizetype position) const
{
    auto stretch = stretchAt(position);
    if (stretch == stretches_.end()) {
        if (stretches_.empty() || position < size() ||
            (size() > 0 && stretches_.back().next > stretches_.back().end))
            return {laidOutEnd(), size()};
        stretch = std::prev(stretches_.end());
    }
    int index = 0;
    const auto beginOf = [&](int line) { return stretch->begin + stretch->layout->lineAt(line).textStart(); };
    while (index + 1 < stretch->lineCount && position >= beginOf(index + 1))
        ++index;
    return {beginOf(index), index + 1 < stretch->lineCount ? beginOf(index + 1) : stretch->next};
}

QRectF StyledTextLayout::cursorRectangle(qsizetype position) const
{
    auto stretch = stretchAt(position);
    if (stretch == stretches_.end()) {
        if (stretches_.empty())
            return {0, 0, 0, std::round(kLineHeightMultiple * fonts_.height(markdown::Style::Base))};
        stretch = std::prev(stretches_.end());
    }
    const auto offset = static_cast<int>(std::clamp(position, stretch->begin, stretch->end) - stretch->begin);
    int index = 0;
    while (index + 1 < stretch->lineCount && offset >= stretch->layout->lineAt(index + 1).textStart())
        ++index;
    const double top = stretch->lineTops[static_cast<std::size_t>(index)];
    const double bottom = stretch->lineTops[static_cast<std::size_t>(index) + 1];
    return {stretch->layout->lineAt(index).cursorToX(offset), stretch->top + top, 0, bottom - top};
}

} // namespace velmo
