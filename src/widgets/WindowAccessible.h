#pragma once

#include <QAccessible>

namespace velmo {

/// A widget of an ordinary window that the toolkit would take for a mere area.
class DescribedWidget {
public:
    DescribedWidget(const DescribedWidget&) = delete;
    DescribedWidget& operator=(const DescribedWidget&) = delete;
    virtual ~DescribedWidget() = default;

    /// What it is to assistive technology. Its name is the widget's accessible name.
    [[nodiscard]] QAccessible::Role accessibleRole() const { return role_; }

protected:
    /// Assistive technology may ask while the widget is still being made, so this is not left to a virtual
    /// function.
    explicit DescribedWidget(QAccessible::Role role);

private:
    const QAccessible::Role role_;
};

/// From now on described widgets, push buttons and fields for secrets tell assistive technology what they
/// are, and can be worked by it. Each of them sees to this when it is made, before anybody can ask about it.
/// More calls do nothing. Main thread.
void installWindowAccessibility();

} // namespace velmo
