#pragma once

#include "widgets/FadingButton.h"
#include "widgets/FocusRing.h"
#include "widgets/WindowAccessible.h"

#include <functional>

class QPainter;

namespace velmo {

struct WindowTheme;

/// A mark of an ordinary window that is on or off, with its title beside it. Main thread.
class MarkedButton : public FadingButton, public FocusRingTarget, public DescribedWidget {
public:
    /// Told what it is now, when the user has changed it.
    std::function<void(bool isOn)> onChange;

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }
    [[nodiscard]] FocusRingShape focusRingShape() const override;

protected:
    /// The gap is between mark and title. Without a title, the name is for assistive technology alone.
    MarkedButton(QAccessible::Role role, const QString& title, int gap, QWidget* parent);

    virtual void paintMark(QPainter& painter, const QRectF& mark, const WindowTheme& theme) = 0;
    /// Of the mark's ground while it is off.
    [[nodiscard]] QColor offColor(const WindowTheme& theme) const;
    /// Of the mark's ground while it is on.
    [[nodiscard]] QColor onColor(const WindowTheme& theme) const;

    void paintEvent(QPaintEvent* event) override;

private:
    const int gap_;
};

} // namespace velmo
