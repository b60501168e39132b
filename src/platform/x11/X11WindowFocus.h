#pragma once

#include "platform/WindowFocus.h"

#include <memory>

namespace velmo {

class X11Connection;

/// Focus on an X server by what window managers publish (EWMH), and by the input focus itself without one.
///
/// It has a connection of its own rather than the toolkit's: the toolkit sets its event mask on the root
/// window as it likes and would log every window that vanished between question and answer. Activations are
/// noticed by a socket notifier, so the main loop must run. Elements inside windows are unknown to an X
/// server: they are left to the accessible focus, without which there are none.
class X11WindowFocus final : public WindowFocus {
public:
    explicit X11WindowFocus(std::unique_ptr<AccessibleFocus> elements = nullptr);
    ~X11WindowFocus() override;

    [[nodiscard]] std::optional<RunningApplication> frontmostApplication() const override;

    /// An application is reported when another window than before becomes active; that no window is active in
    /// between, as while one of our panels has the keyboard, is no activation.
    void setActivationHandler(ActivationHandler handler) override;
    /// Asked at each activation whether it is to be passed over, since nobody meant it.
    void setActivationFilter(std::function<bool()> isUnintended);

    [[nodiscard]] std::optional<AccessibilityElement>
    focusedWindow(const RunningApplication& application) const override;
    [[nodiscard]] std::optional<AccessibilityElement>
    focusedElement(const RunningApplication& application) const override;
    [[nodiscard]] bool isRunning(qint32 processID) const override;
    void activate(qint32 processID, const std::optional<AccessibilityElement>& window) override;
    void focusElement(const AccessibilityElement& element) override;
    [[nodiscard]] bool isTrusted() const override;

    /// Does nothing: an X server knows windows, not applications.
    void activateThisApplication() override;

private:
    class Watcher;

    std::unique_ptr<X11Connection> connection_; ///< Null without a display.
    std::unique_ptr<Watcher> watcher_;
    std::unique_ptr<AccessibleFocus> elements_; ///< May be null.
};

} // namespace velmo
