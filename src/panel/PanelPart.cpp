#include "panel/PanelPart.h"

#include "panel/AttachmentThumbnailButton.h"
#include "panel/AutoSizingTextView.h"
#include "panel/GradientFadeView.h"
#include "panel/KeyBadgeView.h"
#include "panel/MarkdownMessageView.h"
#include "panel/MessageTextView.h"
#include "panel/ModelPillButton.h"
#include "panel/OverlayScroller.h"
#include "panel/QueryChatMessageView.h"
#include "panel/QueryInputPanel.h"
#include "panel/QueryPanelContentView.h"
#include "panel/RoundedBackgroundView.h"
#include "panel/SpinnerView.h"
#include "panel/TextViewAccessible.h"
#include "panel/TranscriptScrollView.h"
#include "panel/TranscriptStack.h"

#include <QLabel>

namespace velmo {

namespace {

template <typename... Types>
bool isAnyOf(QWidget& widget)
{
    return (... || (dynamic_cast<Types*>(&widget) != nullptr));
}

/// The rows' text and thumbnail lie several widgets deep, which only arrange them.
bool onlyArranges(QWidget& widget)
{
    if (isAnyOf<TranscriptStack, MessageTextView, MarkdownMessageView, AttachmentThumbnailButton>(widget))
        return true;
    const QWidget* around = widget.parentWidget();
    // A page of the transcript.
    if (dynamic_cast<const TranscriptStack*>(around) != nullptr && !isAnyOf<QueryChatMessageView>(widget))
        return true;
    const bool isInRow = dynamic_cast<const QueryChatMessageView*>(around) != nullptr;
    const bool isInTranscript =
        dynamic_cast<const TranscriptScrollView*>(around) != nullptr ||
        (around != nullptr && around->parentWidget() != nullptr &&
         dynamic_cast<const TranscriptScrollView*>(around->parentWidget()) != nullptr);
    return (isInRow && isAnyOf<RoundedBackgroundView>(widget)) ||
           (isInTranscript && !isAnyOf<QueryChatMessageView, AutoSizingTextView>(widget));
}

bool onlyDecorates(QWidget& widget)
{
    if (isAnyOf<FocusRing, GradientFadeView, KeyBadgeView, OverlayScroller, SpinnerView>(widget))
        return true;
    // The card's ground, which everything else lies on.
    return isAnyOf<RoundedBackgroundView>(widget) && widget.findChild<QWidget*>() == nullptr;
}

/// The place for scroll bars beside the viewport is never used.
bool isBesideViewport(QWidget& widget)
{
    const auto* area = dynamic_cast<const QAbstractScrollArea*>(widget.parentWidget());
    return area != nullptr && &widget != area->viewport();
}

void collect(const QWidget& around, QWidgetList& parts)
{
    for (QObject* object : around.children()) {
        if (!object->isWidgetType())
            continue;
        auto& widget = static_cast<QWidget&>(*object);
        if (widget.isWindow() || onlyDecorates(widget) || isBesideViewport(widget))
            continue;
        if (onlyArranges(widget))
            collect(widget, parts);
        else
            parts.push_back(&widget);
    }
}

QWidgetList partsOf(const QWidget& widget)
{
    QWidgetList parts;
    collect(widget, parts);
    return parts;
}

/// A message. It is called by who says it.
class RowPart final : public PanelPart {
public:
    explicit RowPart(QueryChatMessageView* row)
        : PanelPart(row, QAccessible::ListItem)
    {}

    QAccessible::State state() const override
    {
        QAccessible::State state = PanelPart::state();
        state.busy = static_cast<const QueryChatMessageView*>(widget())->textView().isGrowing();
        return state;
    }
};

/// A word about something that is under way. A notification is read out when it comes.
class StatusPart final : public PanelPart {
public:
    explicit StatusPart(QLabel* label)
        : PanelPart(label, QAccessible::Notification)
    {}

    QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Name ? static_cast<const QLabel*>(widget())->text()
                                         : PanelPart::text(kind);
    }
};

/// The toolkit takes a button that it does not know for a mere area.
class ButtonPart final : public PanelPart {
public:
    explicit ButtonPart(PanelButton* button)
        : PanelPart(button, opensMenu(*button) ? QAccessible::ButtonMenu : QAccessible::PushButton)
    {}

    QAccessible::State state() const override
    {
        QAccessible::State state = PanelPart::state();
        state.hasPopup = opensMenu(button());
        state.pressed = button().isDown();
        return state;
    }

    QStringList actionNames() const override
    {
        QStringList names = PanelPart::actionNames();
        if (button().isEnabled())
            names.prepend(pressAction());
        return names;
    }
    void doAction(const QString& name) override
    {
        if (name == pressAction())
            button().click();
        else
            PanelPart::doAction(name);
    }

private:
    static bool opensMenu(PanelButton& button) { return dynamic_cast<ModelPillButton*>(&button) != nullptr; }
    [[nodiscard]] PanelButton& button() const { return static_cast<PanelButton&>(*widget()); }
};

QAccessibleInterface* makePart(const QString&, QObject* object)
{
    auto* widget = qobject_cast<QWidget*>(object);
    if (widget == nullptr)
        return nullptr;
    if (auto* text = dynamic_cast<AutoSizingTextView*>(widget))
        return makeTextViewAccessible(text);
    if (auto* button = dynamic_cast<PanelButton*>(widget))
        return new ButtonPart(button);
    if (auto* row = dynamic_cast<QueryChatMessageView*>(widget))
        return new RowPart(row);
    if (isAnyOf<TranscriptScrollView>(*widget))
        return new PanelPart(widget, QAccessible::List);
    if (isAnyOf<QueryInputPanel>(*widget))
        return new PanelPart(widget, QAccessible::Window);
    if (isAnyOf<QueryPanelContentView>(*widget))
        return new PanelPart(widget, QAccessible::Grouping);
    auto* label = qobject_cast<QLabel*>(widget);
    if (label != nullptr && dynamic_cast<QueryPanelContentView*>(widget->parentWidget()) != nullptr)
        return new StatusPart(label);
    return nullptr;
}

} // namespace

PanelPart::PanelPart(QWidget* widget, QAccessible::Role role)
    : QAccessibleWidget(widget, role)
{}

QAccessibleInterface* PanelPart::parent() const
{
    QWidget* around = widget()->parentWidget();
    while (around != nullptr && !around->isWindow() && onlyArranges(*around))
        around = around->parentWidget();
    return around != nullptr ? QAccessible::queryAccessibleInterface(around) : QAccessibleWidget::parent();
}

int PanelPart::childCount() const
{
    return static_cast<int>(partsOf(*widget()).size());
}

QAccessibleInterface* PanelPart::child(int index) const
{
    const QWidgetList parts = partsOf(*widget());
    return index >= 0 && index < parts.size() ? QAccessible::queryAccessibleInterface(parts.at(index))
                                              : nullptr;
}

int PanelPart::indexOfChild(const QAccessibleInterface* child) const
{
    return child == nullptr
               ? -1
               : static_cast<int>(partsOf(*widget()).indexOf(qobject_cast<QWidget*>(child->object())));
}

void announcePart(QWidget& widget, QAccessible::Event event)
{
    if (!QAccessible::isActive())
        return;
    QAccessibleEvent announcement(&widget, event);
    QAccessible::updateAccessibility(&announcement);
}

void installPanelAccessibility()
{
    // The toolkit keeps each factory once.
    QAccessible::installFactory(makePart);
}

} // namespace velmo
