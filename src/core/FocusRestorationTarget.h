#pragma once

#include "platform/WindowFocus.h"

#include <optional>

namespace velmo {

/// Where the keyboard was before the session, and where it goes back to. Plain value, main thread.
struct FocusRestorationTarget {
    qint32 appPID = 0;
    std::optional<AccessibilityElement> window;
    std::optional<AccessibilityElement> focusedElement;

    /// Nothing for this program itself: its own windows are never a target. A target is given even when
    /// neither window nor element can be read.
    [[nodiscard]] static std::optional<FocusRestorationTarget> capture(const RunningApplication& application,
                                                                       const WindowFocus& focus);

    /// Gives the keyboard back. A program that has ended is skipped.
    void restore(WindowFocus& focus) const;
};

} // namespace velmo
