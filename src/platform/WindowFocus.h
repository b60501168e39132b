#pragma once

#include "platform/AccessibleFocus.h"

#include <functional>
#include <memory>
#include <optional>

namespace velmo {

/// An application that has, or just got, the keyboard.
struct RunningApplication {
    qint32 processID = 0;
    quint64 window = 0; ///< The window that is active, in the window system's own numbering; 0 if unknown.
};

/// A window, or an element in it, that can be given the focus again.
struct AccessibilityElement {
    quint64 window = 0;                      ///< For windows: the window system's number.
    std::shared_ptr<FocusedElement> element; ///< For elements; may still be being looked up.
    friend bool operator==(const AccessibilityElement&, const AccessibilityElement&) = default;
};

/// Which application has the keyboard, and giving it back. Main thread; no call waits for another program.
class WindowFocus {
public:
    using ActivationHandler = std::function<void(const RunningApplication&)>;

    virtual ~WindowFocus() = default;

    [[nodiscard]] virtual std::optional<RunningApplication> frontmostApplication() const = 0;

    /// Called for every application that becomes active from now on; an empty handler ends it.
    virtual void setActivationHandler(ActivationHandler handler) = 0;

    [[nodiscard]] virtual std::optional<AccessibilityElement>
    focusedWindow(const RunningApplication& application) const = 0;
    /// What has the focus at this moment, even if it takes a while to find out what that is.
    [[nodiscard]] virtual std::optional<AccessibilityElement>
    focusedElement(const RunningApplication& application) const = 0;

    [[nodiscard]] virtual bool isRunning(qint32 processID) const = 0;

    /// Brings the application forward; with a window, that one. A window that is gone is ignored.
    virtual void activate(qint32 processID, const std::optional<AccessibilityElement>& window) = 0;

    /// Gives the keyboard to an element inside the active window. A vanished element is ignored.
    virtual void focusElement(const AccessibilityElement& element) = 0;

    /// Whether windows and elements of other applications may be focused at all.
    [[nodiscard]] virtual bool isTrusted() const = 0;

    /// Makes this program the active application, where the platform knows such a thing.
    virtual void activateThisApplication() = 0;
};

} // namespace velmo
