#pragma once

#include "core/Result.h"
#include "platform/AudioRecorder.h"
#include "platform/ColorScheme.h"
#include "platform/DisplayCapture.h"
#include "platform/EventTap.h"
#include "platform/KeyReader.h"
#include "platform/Permissions.h"
#include "platform/Screens.h"
#include "platform/TrayPresence.h"
#include "platform/WindowFocus.h"
#include "platform/WindowSurfaces.h"

#include <QStringList>
#include <functional>
#include <memory>
#include <vector>

namespace velmo {

/// The desktop's services, from the backend that fits. Main thread.
struct DesktopServices {
    std::unique_ptr<Screens> screens;
    std::unique_ptr<EventTap> eventTap;
    std::unique_ptr<DisplayCapture> displayCapture;
    std::unique_ptr<WindowFocus> windowFocus;
    std::unique_ptr<WindowSurfaces> windowSurfaces;
    std::unique_ptr<Permissions> permissions;
    std::unique_ptr<AudioRecorders> audioRecorders;
    std::unique_ptr<KeyReader> keyReader;
    std::vector<std::unique_ptr<TrayPresence>> trays; ///< Of every kind that the desktop may have.
    std::unique_ptr<ColorScheme> colorScheme;

    /// What the backends could not do as they should, since the last call.
    std::function<QStringList()> takeDiagnostics;

    /// Why the program cannot run on this desktop at all; nothing if it can. Before the application object.
    [[nodiscard]] static std::optional<QString> obstacle();
    /// Needs the application object.
    [[nodiscard]] static DesktopServices create();
};

} // namespace velmo
