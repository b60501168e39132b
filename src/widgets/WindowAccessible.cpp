#include "widgets/WindowAccessible.h"

#include "widgets/PushButton.h"
#include "widgets/SecureField.h"

#include <QAbstractButton>
#include <QAccessibleWidget>

namespace velmo {

namespace {

class ButtonPart final : public QAccessibleWidget {
public:
    ButtonPart(QAbstractButton* button, QAccessible::Role role)
        : QAccessibleWidget(button, role)
    {}

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.pressed = button().isDown();
        if (role() == QAccessible::PageTab) {
            state.selectable = true;
            state.selected = button().isChecked();
        } else {
            state.checkable = button().isCheckable();
            state.checked = button().isChecked();
        }
        return state;
    }

    QStringList actionNames() const override
    {
        QStringList names = QAccessibleWidget::actionNames();
        if (button().isEnabled())
            names.prepend(action());
        return names;
    }

    void doAction(const QString& name) override
    {
        if (name == action())
            button().click();
        else
            QAccessibleWidget::doAction(name);
    }

private:
    [[nodiscard]] QAbstractButton& button() const { return static_cast<QAbstractButton&>(*widget()); }
    [[nodiscard]] const QString& action() const
    {
        return role() == QAccessible::CheckBox ? toggleAction() : pressAction();
    }
};

/// The toolkit tells assistive technology each character that is typed into a line, also into one that shows
/// dots, on behalf of whoever has a text. So this one has none, but for its dots.
class SecretPart final : public QAccessibleWidget {
public:
    explicit SecretPart(SecureField* field)
        : QAccessibleWidget(field, QAccessible::EditableText)
    {}

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.passwordEdit = true;
        state.editable = true;
        return state;
    }

    QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Value ? static_cast<const SecureField*>(widget())->displayText()
                                          : QAccessibleWidget::text(kind);
    }
};

QAccessibleInterface* makePart(const QString&, QObject* object)
{
    auto* widget = qobject_cast<QWidget*>(object);
    if (widget == nullptr)
        return nullptr;
    if (auto* secret = dynamic_cast<SecureField*>(widget))
        return new SecretPart(secret);
    if (auto* pushed = dynamic_cast<PushButton*>(widget))
        return new ButtonPart(pushed, QAccessible::PushButton);
    const auto* described = dynamic_cast<const DescribedWidget*>(widget);
    if (described == nullptr)
        return nullptr;
    if (auto* button = qobject_cast<QAbstractButton*>(widget))
        return new ButtonPart(button, described->accessibleRole());
    return new QAccessibleWidget(widget, described->accessibleRole());
}

} // namespace

DescribedWidget::DescribedWidget(QAccessible::Role role)
    : role_(role)
{
    installWindowAccessibility();
}

void installWindowAccessibility()
{
    // The toolkit keeps each factory once.
    QAccessible::installFactory(makePart);
}

} // namespace velmo
