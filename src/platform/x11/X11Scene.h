#pragma once

#include "platform/x11/X11CaptureServer.h"
#include "platform/x11/X11OwnWindows.h"
#include "platform/x11/X11ReadablePixmap.h"

#include <QRect>
#include <QStringList>
#include <atomic>
#include <memory>
#include <optional>

namespace velmo {

/// What a scene is put together from, beside the windows.
struct X11SceneSources {
    std::optional<X11ResourceRange> ownResources;
    /// A pixmap with the screen before our windows, for a desktop that only its compositing manager knows; 0
    /// for none. Read while the server is grabbed, since its owner may free it.
    const std::atomic<quint32>& picture;
};

/// A part of the root without our windows, as a pixmap in the server.
struct X11Scene {
    std::unique_ptr<X11ReadablePixmap>
        pixels;        ///< Null if it could not be had. Lives on the server's connection.
    QString obstacle;  ///< Why not: half a sentence.
    QStringList notes; ///< Sentences about what is not as it should be.
};

/// Puts the windows of this part of the root together as they are now, and returns when the server has done
/// it. They are redirected.
[[nodiscard]] X11Scene composeScene(X11CaptureServer& server, const QRect& area,
                                    const X11SceneSources& sources);

} // namespace velmo
