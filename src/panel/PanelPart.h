#pragma once

#include <QAccessibleWidget>

namespace velmo {

/// What assistive technology is told about a widget of the panel. Widgets that only arrange or decorate are
/// passed over: its children are the nearest parts inside it, in reading order, and its parent the nearest
/// one around it. Main thread.
class PanelPart : public QAccessibleWidget {
public:
    PanelPart(QWidget* widget, QAccessible::Role role);

    [[nodiscard]] QAccessibleInterface* parent() const override;
    [[nodiscard]] int childCount() const override;
    [[nodiscard]] QAccessibleInterface* child(int index) const override;
    [[nodiscard]] int indexOfChild(const QAccessibleInterface* child) const override;
};

/// Tells that a part has come into its parent, or is about to leave it.
void announcePart(QWidget& widget, QAccessible::Event event);

/// From now on the panel's widgets describe themselves as what they are to the user. More calls do nothing.
void installPanelAccessibility();

} // namespace velmo
