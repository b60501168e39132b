#pragma once

#include <QColor>
#include <QPointer>
#include <QWidget>
#include <functional>

namespace velmo {

/// How a control shows that it has the keyboard.
struct FocusRingShape {
    double gap = 2; ///< Between the control's bounds and the ring; negative inside them.
    double radius = 6;
};

/// A widget that says how its ring is to be drawn.
class FocusRingTarget {
public:
    virtual ~FocusRingTarget() = default;
    [[nodiscard]] virtual FocusRingShape focusRingShape() const = 0;
};

/// The ring around whichever control of a window the keyboard moved to. It lies over the controls, so that a
/// control needs no room for it. Main thread.
class FocusRing final : public QWidget {
public:
    /// Follows the focus among the descendants of the widget. The colour is asked for whenever it is drawn.
    FocusRing(QWidget& area, std::function<QColor()> color);

    /// Where rings of controls inside that widget live, so that they scroll with them.
    void addScrolledArea(QWidget& document) { document_ = &document; }
    [[nodiscard]] const QWidget* target() const { return target_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void follow(QWidget* focused);
    void followTarget(const QWidget& changed, const QEvent& event);
    void place();

    QWidget& area_;
    std::function<QColor()> color_;
    QPointer<QWidget> document_;
    QPointer<QWidget> target_;
    FocusRingShape shape_;
};

} // namespace velmo
