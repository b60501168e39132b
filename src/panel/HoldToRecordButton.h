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

    std::function<void()> onPress;
    std::function<void()> onRelease;

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
    void letGo(Holder holder);

    Holder holder_ = Holder::None;
};

} // namespace velmo
