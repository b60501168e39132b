#pragma once

#include "platform/EventTap.h"

#include <QSize>
#include <QString>
#include <QStringList>

namespace velmo {

/// What an X desktop is like. Plain value.
struct X11Survey {
    bool isReachable = false;
    QString windowManager; ///< Empty without one.
    bool isComposited = false;
    QString compositor; ///< What it calls itself; empty if it does not.
    bool hasTray = false;

    QString missingExtension; ///< A sentence; empty if gestures can be watched.

    /// Waits for the X server as long as that takes, so it belongs on a thread of its own. Needs no
    /// application object.
    [[nodiscard]] static X11Survey take();
};

/// What pictures of an X desktop are like, found out by taking one. Plain value.
struct X11CaptureSurvey {
    bool isCaptured = false;
    bool showsWindowsApart = false; ///< Or only the screen as a whole, from before the drawing.
    QSize size;                     ///< Of the first display, in native pixels.
    int windowCount = 0;            ///< Viewable windows at the top level.
    QStringList problems{};         ///< Why it failed, or what the pictures lack.

    /// Waits like the survey, and for as long as a large screen takes.
    [[nodiscard]] static X11CaptureSurvey take();
};

/// What the gestures would get, found out by reserving them and letting go at once. Waits like the survey,
/// but for two seconds at most once the server answers.
[[nodiscard]] EventTap::StartReport tryTap(const TapInterest& interest);

} // namespace velmo
