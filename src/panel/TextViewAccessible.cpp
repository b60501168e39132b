#include "panel/TextViewAccessible.h"

#include "panel/AutoSizingTextView.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <algorithm>

namespace velmo {

namespace {

/// Offsets of assistive technology are units of UTF-16, as the view's are.
class TextViewAccessible final : public QAccessibleWidget, public QAccessibleTextInterface {
public:
    explicit TextViewAccessible(AutoSizingTextView* view)
        : QAccessibleWidget(view, QAccessible::Paragraph)
    {}

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        if (type == QAccessible::TextInterface)
            return static_cast<QAccessibleTextInterface*>(this);
        return QAccessibleWidget::interface_cast(type);
    }

    QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Value ? text(0, characterCount()) : QAccessibleWidget::text(kind);
    }

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.readOnly = true;
        state.multiLine = true;
        state.selectableText = true;
        return state;
    }

    // QAccessibleTextInterface
    void selection(int index, int* begin, int* end) const override
    {
        const bool exists = index == 0 && !view().selection().isEmpty();
        *begin = exists ? static_cast<int>(view().selection().begin()) : 0;
        *end = exists ? static_cast<int>(view().selection().end()) : 0;
    }
    int selectionCount() const override { return view().selection().isEmpty() ? 0 : 1; }
    void addSelection(int begin, int end) override { view().select(begin, end); }
    void removeSelection(int) override { view().clearSelection(); }
    void setSelection(int, int begin, int end) override { view().select(begin, end); }
    int cursorPosition() const override { return static_cast<int>(view().selection().cursor()); }
    void setCursorPosition(int position) override { view().select(position, position); }
    QString text(int begin, int end) const override
    {
        return view().layoutOfText().textView().mid(begin, end - begin).toString();
    }
    int characterCount() const override { return static_cast<int>(view().layoutOfText().size()); }
    QRect characterRect(int offset) const override
    {
        const auto lines = view().rectanglesOf(offset, offset + 1);
        const QRectF place = lines.empty() ? view().cursorRectangle(offset) : lines.front();
        return place.toAlignedRect().translated(view().mapToGlobal(QPoint()));
    }
    int offsetAtPoint(const QPoint& point) const override
    {
        return static_cast<int>(view().positionAt(view().mapFromGlobal(point)));
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
        const auto at = styles.begin() + std::clamp(offset, 0, characterCount());
        const auto differs = [at](markdown::Style style) { return style != *at; };
        *begin = offset;
        *end = offset;
        if (at == styles.end())
            return {};
        *end = static_cast<int>(std::find_if(at, styles.end(), differs) - styles.begin());
        *begin = static_cast<int>(
            std::find_if(std::make_reverse_iterator(at), styles.rend(), differs).base() - styles.begin());
        switch (*at) {
        case markdown::Style::Base:
            break;
        case markdown::Style::Bold:
        case markdown::Style::Heading:
            return QStringLiteral("font-weight:600;");
        case markdown::Style::Code:
            return QStringLiteral("font-family:monospace;");
        }
        return {};
    }

private:
    [[nodiscard]] AutoSizingTextView& view() const { return static_cast<AutoSizingTextView&>(*widget()); }
};

QAccessibleInterface* makeInterface(const QString&, QObject* object)
{
    auto* view = dynamic_cast<AutoSizingTextView*>(object);
    return view != nullptr ? new TextViewAccessible(view) : nullptr;
}

} // namespace

void installTextViewAccessibility()
{
    // The toolkit keeps each factory once.
    QAccessible::installFactory(makeInterface);
}

} // namespace velmo
