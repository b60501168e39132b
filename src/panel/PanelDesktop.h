#pragma once

#include "core/Clock.h"
#include "core/async/Task.h"
#include "platform/Screens.h"
#include "platform/WindowSurfaces.h"

#include <QString>
#include <functional>
#include <memory>

class QUrl;

namespace velmo {

class ReplicateWhisperService;

/// What the panel works with and what it opens elsewhere. The references outlive every panel. Main thread.
struct PanelDesktop {
    const Screens& screens;
    WindowSurfaces& windows;

    /// Shows the settings, for a user without any key. May be empty.
    std::function<void()> openSettingsWindow = {};
    /// Opens a web address that an answer names. May be empty.
    std::function<void(const QUrl&)> openAddress = {};
    /// Turns speech into text, for users who have a key for it. May be empty, and may give nothing.
    std::function<std::shared_ptr<ReplicateWhisperService>(const QString& apiKey,
                                                           const QString& modelVersion)>
        makeTranscriptionService = {};
    /// Starts what goes on to its end when the panel is closed. There is one wherever there is a way to
    /// transcribe.
    std::function<void(async::Task<>)> startLasting = {};
    /// Tells how long a recording has been held.
    std::function<Clock::TimePoint()> now = Clock::now;
};

} // namespace velmo
