#pragma once

#include <QAbstractButton>
#include <QVariantAnimation>

namespace velmo {

/// A control whose look changes softly under the pointer and under a press. Main thread.
class FadingButton : public QAbstractButton {
protected:
    explicit FadingButton(QWidget* parent = nullptr);

    /// From 0, away from the pointer, to 1.
    [[nodiscard]] double hover() const { return hover_.currentValue().toDouble(); }
    /// From 0, let go, to 1.
    [[nodiscard]] double press() const { return press_.currentValue().toDouble(); }
    void fadePress(bool isPressed) { fadeTo(press_, isPressed ? 1 : 0); }

    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    void fadeTo(QVariantAnimation& progress, double end);

    QVariantAnimation hover_;
    QVariantAnimation press_;
};

} // namespace velmo
