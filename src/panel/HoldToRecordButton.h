#pragma once

#include "panel/PanelButtons.h"

#include <functional>

namespace velmo {

/// The microphone: something goes on for as long as it is held, by the left mouse button or by Space,
/// wherever the pointer goes meanwhile. It is not clicked, but for assistive technology, which cannot hold
/// it: what that presses once is held until it presses again. Main thread.
class HoldToRecordButton final : public SymbolPanelButton {
public:
    explicit HoldToRecordButton(QWidget* parent = nullptr);

    /// Whether anything has begun; else nothing is held.
    std::function<bool()> onPress;
    std::function<void()> onRelease;

    /// As if whoever holds it had let go.
    void letGo();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    enum class Holder { None, Mouse, Key, Assistance };

    void hold(Holder holder);
    void endHoldOf(Holder holder);

    Holder holder_ = Holder::None;
};

} // namespace velmo
