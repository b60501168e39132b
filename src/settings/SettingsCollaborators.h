#pragma once

#include "core/Published.h"

#include <QWidget>
#include <functional>
#include <memory>

namespace velmo {

/// What the settings open and start elsewhere.
struct SettingsCollaborators {
    /// Lets the user record a new hotkey.
    std::function<void()> presentHotkeySheet;
    /// Makes the quick-draw triggers work as they are now; called when they have changed.
    std::function<void()> restartHotkeyMonitor;
    /// The contents of the second tab, made when it is first chosen; empty: it has none.
    std::function<std::unique_ptr<QWidget>()> makePermissionsView;
    /// Why the hotkey does not work, in a few words ("Taken by another program"); empty while it does. Null:
    /// nobody knows. Outlives the view.
    const Observable<QString>* hotkeyProblem = nullptr;
};

} // namespace velmo
