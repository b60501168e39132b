#pragma once

#include "core/Published.h"

#include <QString>
#include <QWidget>
#include <functional>
#include <memory>

namespace velmo {

/// Why a gesture does not work, in sentences, each in a line of its own; empty while it does. Main thread.
struct GestureProblems {
    QString hotkey{};
    QString chord{};
    QString middleButton{};
};

/// What the settings open and start elsewhere.
struct SettingsCollaborators {
    /// Lets the user record a new hotkey.
    std::function<void()> presentHotkeySheet;
    /// Makes the quick-draw triggers work as they are now; called when they have changed.
    std::function<void()> restartHotkeyMonitor;
    /// The contents of the second tab, made when it is first chosen; empty: it has none.
    std::function<std::unique_ptr<QWidget>()> makePermissionsView;
    /// Null: nobody knows. Outlives the view.
    const Observable<GestureProblems>* gestureProblems = nullptr;
};

} // namespace velmo
