#include "panel/TextViewAccessible.h"

#include "panel/AutoSizingTextView.h"
#include "panel/LineEnds.h"
#include "panel/PanelPart.h"
#include "panel/TextViewMenu.h"

#include <QFontInfo>
#include <algorithm>

namespace velmo {

namespace {

/// Words and sentences are looked for in this much text around a position, however long the text is.
constexpr qsizetype kSurroundings = 4096;

/// A part of a text, in which the toolkit finds characters, words and sentences.
class Surroundings final : public QAccessibleTextInterface {
public:
    Surroundings(QStringView whole, qsizetype position)
        : begin_(std::max<qsizetype>(position - kSurroundings, 0))
    {
        if (begin_ > 0 && whole.at(begin_).isLowSurrogate())
            ++begin_;
        text_ = whole.mid(begin_, 2 * kSurroundings);
    }

    [[nodiscard]] int begin() const { return static_cast<int>(begin_); }

    void selection(int, int* begin, int* end) const override { *begin = *end = 0; }
    int selectionCount() const override { return 0; }
    void addSelection(int, int) override {}
    void removeSelection(int) override {}
    void setSelection(int, int, int) override {}
    int cursorPosition() const override { return 0; }
    void setCursorPosition(int) override {}
    QString text(int begin, int end) const override { return text_.mid(begin, end - begin).toString(); }
    int characterCount() const override { return static_cast<int>(text_.size()); }
    QRect characterRect(int) const override { return {}; }
    int offsetAtPoint(const QPoint&) const override { return -1; }
    void scrollToSubstring(int, int) override {}
    QString attributes(int, int*, int*) const override { return {}; }

private:
    qsizetype begin_;
    QStringView text_;
};

/// Offsets of assistive technology are units of UTF-16, as the view's are.
class TextViewAccessible final : public PanelPart, public QAccessibleTextInterface {
public:
    explicit TextViewAccessible(AutoSizingTextView* view)
        : PanelPart(view, QAccessible::Paragraph)
    {}

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        if (type == QAccessible::TextInterface)
            return static_cast<QAccessibleTextInterface*>(this);
        return PanelPart::interface_cast(type);
    }

    QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Value ? text(0, characterCount()) : PanelPart::text(kind);
    }

    QAccessible::State state() const override
    {
        QAccessible::State state = PanelPart::state();
        state.readOnly = true;
        state.multiLine = true;
        state.selectableText = true;
        state.busy = view().isGrowing();
        return state;
    }

    /// The menu is the way to the links in the text.
    QStringList actionNames() const override { return PanelPart::actionNames() << showMenuAction(); }
    void doAction(const QString& name) override
    {
        if (name == showMenuAction())
            openMenuByKeyboard(view());
        else
            PanelPart::doAction(name);
    }

    // QAccessibleTextInterface
    void selection(int index, int* begin, int* end) const override
    {
        const bool exists = index == 0 && !view().selection().isEmpty();
        *begin = exists ? static_cast<int>(view().selection().begin()) : 0;
        *end = exists ? static_cast<int>(view().selection().end()) : 0;
    }
    int selectionCount() const override { return view().selection().isEmpty() ? 0 : 1; }
    void addSelection(int begin, int end) override { setSelection(0, begin, end); }
    void removeSelection(int) override { view().clearSelection(); }
    void setSelection(int, int begin, int end) override
    {
        if (view().onSelect)
            view().onSelect();
        view().select(begin, end);
    }
    int cursorPosition() const override { return static_cast<int>(view().selection().cursor()); }
    void setCursorPosition(int position) override { view().select(position, position); }
    QString text(int begin, int end) const override
    {
        const qsizetype from = within(begin);
        return whole().mid(from, std::max<qsizetype>(within(end) - from, 0)).toString();
    }
    int characterCount() const override { return static_cast<int>(whole().size()); }

    QString textBeforeOffset(int offset, QAccessible::TextBoundaryType unit, int* begin,
                             int* end) const override
    {
        if (isOfLayout(unit)) {
            const TextRange at = rangeAround(within(offset), unit);
            return at.begin == 0 ? nothing(begin, end) : found(rangeAround(at.begin - 1, unit), begin, end);
        }
        return search(&QAccessibleTextInterface::textBeforeOffset, offset, unit, begin, end);
    }
    QString textAtOffset(int offset, QAccessible::TextBoundaryType unit, int* begin, int* end) const override
    {
        if (isOfLayout(unit))
            return found(rangeAround(within(offset), unit), begin, end);
        return search(&QAccessibleTextInterface::textAtOffset, offset, unit, begin, end);
    }
    QString textAfterOffset(int offset, QAccessible::TextBoundaryType unit, int* begin,
                            int* end) const override
    {
        if (isOfLayout(unit)) {
            const TextRange at = rangeAround(within(offset), unit);
            return at.end >= whole().size() ? nothing(begin, end)
                                            : found(rangeAround(at.end, unit), begin, end);
        }
        return search(&QAccessibleTextInterface::textAfterOffset, offset, unit, begin, end);
    }

    QRect characterRect(int offset) const override
    {
        const TextRange unit = characterAround(within(offset));
        const auto lines = view().rectanglesOf(unit.begin, unit.end);
        const QRectF place = lines.empty() ? view().cursorRectangle(unit.begin) : lines.front();
        return place.toAlignedRect().translated(view().mapToGlobal(QPoint()));
    }

    /// The character that the point is on, which need not begin at the nearest place for a cursor.
    int offsetAtPoint(const QPoint& point) const override
    {
        const QPoint inside = view().mapFromGlobal(point);
        if (!view().rect().contains(inside))
            return -1;
        const auto nearest = static_cast<int>(view().positionAt(inside));
        if (nearest == 0)
            return 0;
        const TextRange before = characterAround(nearest - 1);
        const auto lines = view().rectanglesOf(before.begin, before.end);
        const bool isOnIt =
            std::ranges::any_of(lines, [inside](const QRectF& line) { return line.contains(inside); });
        return isOnIt ? static_cast<int>(before.begin) : nearest;
    }

    void scrollToSubstring(int begin, int end) override
    {
        const auto lines = view().rectanglesOf(begin, std::max(end, begin + 1));
        if (!lines.empty() && view().onReveal)
            view().onReveal(lines.front().toAlignedRect());
    }

    QString attributes(int offset, int* begin, int* end) const override
    {
        const auto& styles = view().layoutOfText().text().styles;
        const auto at = styles.begin() + within(offset);
        *begin = *end = within(offset);
        if (at == styles.end())
            return {};
        const auto differs = [at](markdown::Style style) { return style != *at; };
        *end = static_cast<int>(std::find_if(at, styles.end(), differs) - styles.begin());
        *begin = static_cast<int>(
            std::find_if(std::make_reverse_iterator(at), styles.rend(), differs).base() - styles.begin());
        QString result = describe(*at);
        // A link and what is beside it are told apart.
        for (const WebLink& link : view().links()) {
            if (link.end <= offset) {
                *begin = std::max(*begin, static_cast<int>(link.end));
            } else if (link.begin > offset) {
                *end = std::min(*end, static_cast<int>(link.begin));
                break;
            } else {
                *begin = std::max(*begin, static_cast<int>(link.begin));
                *end = std::min(*end, static_cast<int>(link.end));
                result += QStringLiteral("text-underline-style:solid;");
            }
        }
        return result;
    }

private:
    /// The weight is a number: the bus gets it as it is, and has no words for weights.
    static QString describe(markdown::Style style)
    {
        switch (style) {
        case markdown::Style::Base:
            break;
        case markdown::Style::Bold:
            return QStringLiteral("font-weight:600;");
        case markdown::Style::Heading: {
            const QFontInfo font(MessageFonts::current().font(style));
            return QStringLiteral("font-weight:600;font-size:") + QString::number(font.pointSize()) +
                   QStringLiteral("pt;");
        }
        case markdown::Style::Code:
            return QStringLiteral("font-family:monospace;");
        }
        return {};
    }

    /// The toolkit knows neither the lines on the screen nor a limit to what it looks at.
    static bool isOfLayout(QAccessible::TextBoundaryType unit)
    {
        return unit == QAccessible::LineBoundary || unit == QAccessible::ParagraphBoundary ||
               unit == QAccessible::NoBoundary;
    }

    [[nodiscard]] TextRange rangeAround(qsizetype position, QAccessible::TextBoundaryType unit) const
    {
        if (unit == QAccessible::LineBoundary)
            return view().layoutOfText().lineAround(position);
        TextRange range{0, whole().size()};
        if (unit == QAccessible::ParagraphBoundary) {
            range.begin = range.end = position;
            while (range.begin > 0 && !endsParagraph(whole().at(range.begin - 1)))
                --range.begin;
            while (range.end < whole().size() && !endsParagraph(whole().at(range.end)))
                ++range.end;
            // Its line end belongs to it.
            if (range.end < whole().size())
                ++range.end;
        }
        return range;
    }

    [[nodiscard]] TextRange characterAround(qsizetype position) const
    {
        if (position >= whole().size())
            return {whole().size(), whole().size()};
        int begin = 0;
        int end = 0;
        textAtOffset(static_cast<int>(position), QAccessible::CharBoundary, &begin, &end);
        return begin <= position && position < end ? TextRange{begin, end}
                                                   : TextRange{position, position + 1};
    }

    QString found(const TextRange& range, int* begin, int* end) const
    {
        *begin = static_cast<int>(range.begin);
        *end = static_cast<int>(range.end);
        return text(*begin, *end);
    }
    static QString nothing(int* begin, int* end)
    {
        *begin = *end = -1;
        return {};
    }

    using Search = QString (QAccessibleTextInterface::*)(int, QAccessible::TextBoundaryType, int*,
                                                         int*) const;
    QString search(Search how, int offset, QAccessible::TextBoundaryType unit, int* begin, int* end) const
    {
        const Surroundings around(whole(), within(offset));
        QString result = (around.*how)(within(offset) - around.begin(), unit, begin, end);
        if (*begin >= 0) {
            *begin += around.begin();
            *end += around.begin();
        }
        return result;
    }

    [[nodiscard]] int within(int offset) const { return std::clamp(offset, 0, characterCount()); }
    [[nodiscard]] QStringView whole() const { return view().layoutOfText().textView(); }
    [[nodiscard]] AutoSizingTextView& view() const { return static_cast<AutoSizingTextView&>(*widget()); }
};

/// Of what both begin with. A character outside the basic plane stays in one piece.
qsizetype commonLength(QStringView one, QStringView other)
{
    const auto shorter = std::min(one.size(), other.size());
    const qsizetype length =
        std::mismatch(one.begin(), one.begin() + shorter, other.begin()).first - one.begin();
    return length > 0 && one.at(length - 1).isHighSurrogate() ? length - 1 : length;
}

/// How much has to go for a long part of the rest to be the same again; 0 if nothing helps. When the end of
/// a bold text comes, the marker at its beginning goes, and all of it would be read out once more.
qsizetype markerLength(QStringView before, QStringView after)
{
    constexpr qsizetype kLongestMarker = 4;
    constexpr qsizetype kLongPart = 16;
    for (qsizetype length = 1; length <= std::min(kLongestMarker, before.size()); ++length) {
        if (commonLength(before.mid(length), after) >= kLongPart)
            return length;
    }
    return 0;
}

void announceReplacement(AutoSizingTextView& view, qsizetype position, QStringView removed, QStringView added)
{
    const auto at = static_cast<int>(position);
    if (!removed.isEmpty()) {
        QAccessibleTextRemoveEvent event(&view, at, removed.toString());
        QAccessible::updateAccessibility(&event);
    }
    if (!added.isEmpty()) {
        QAccessibleTextInsertEvent event(&view, at, added.toString());
        QAccessible::updateAccessibility(&event);
    }
}

} // namespace

QAccessibleInterface* makeTextViewAccessible(AutoSizingTextView* view)
{
    return new TextViewAccessible(view);
}

void announceTextChange(AutoSizingTextView& view, qsizetype position, QStringView before, QStringView after)
{
    if (!QAccessible::isActive())
        return;
    for (;;) {
        const qsizetype same = commonLength(before, after);
        position += same;
        before = before.mid(same);
        after = after.mid(same);
        const qsizetype marker = markerLength(before, after);
        if (marker == 0)
            break;
        announceReplacement(view, position, before.left(marker), {});
        before = before.mid(marker);
    }
    qsizetype tail = 0;
    const qsizetype shorter = std::min(before.size(), after.size());
    while (tail < shorter && before.at(before.size() - 1 - tail) == after.at(after.size() - 1 - tail))
        ++tail;
    if (tail > 0 && before.at(before.size() - tail).isLowSurrogate())
        --tail;
    announceReplacement(view, position, before.chopped(tail), after.chopped(tail));
}

void announceTextSelection(AutoSizingTextView& view)
{
    if (!QAccessible::isActive())
        return;
    const TextSelection& selection = view.selection();
    QAccessibleTextSelectionEvent selected(&view, static_cast<int>(selection.begin()),
                                           static_cast<int>(selection.end()));
    QAccessible::updateAccessibility(&selected);
    QAccessibleTextCursorEvent moved(&view, static_cast<int>(selection.cursor()));
    QAccessible::updateAccessibility(&moved);
}

void announceBusy(AutoSizingTextView& view)
{
    if (!QAccessible::isActive())
        return;
    QAccessible::State changed;
    changed.busy = true;
    QAccessibleStateChangeEvent event(&view, changed);
    QAccessible::updateAccessibility(&event);
}

} // namespace velmo
