#pragma once

#include "platform/Screens.h"
#include "platform/WindowSurfaces.h"
#include "widgets/FloatingWindow.h"

#include <QVariantAnimation>

class QLabel;

namespace velmo {

/// The words of the hint on their capsule.
class HintCapsuleView final : public QWidget {
public:
    static constexpr QSize kSize{360, 40};

    explicit HintCapsuleView(QWidget* parent);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QLabel* label_;
};

/// The tiny window at the bottom of the screen under the pointer that says what the held modifiers are for.
/// It takes no clicks. One for the life of the program; main thread.
class HintCapsuleController {
public:
    /// Screens and window system outlive it.
    HintCapsuleController(const Screens& screens, WindowSurfaces& windows);

    /// Fades in, or moves to the screen under the pointer if it is there already.
    void show();
    /// Fades out; nothing if it is not there.
    void hide();

    [[nodiscard]] bool isVisible() const { return window_.isVisible(); }

private:
    void fadeTo(double alpha, int milliseconds);

    const Screens& screens_;
    WindowSurfaces& windows_;
    FloatingWindow window_{FloatingWindow::Mouse::PassesThrough};
    QVariantAnimation fade_;
    bool isLeaving_ = false;
};

} // namespace velmo
