#pragma once

#include "core/Geometry.h"

#include <QString>
#include <functional>
#include <optional>
#include <vector>

namespace velmo {

/// A snapshot of one screen. Plain value, any thread.
struct Screen {
    QString name;
    std::optional<quint32>
        displayID;           ///< Names the screen to DisplayCapture; none if the platform cannot tell.
    ScreenRect frame;        ///< The whole screen, in points.
    ScreenRect visibleFrame; ///< Without panels and docks, in points.
    PixelRect nativeFrame;   ///< The whole screen, in native pixels of the root.
    double scale = 1;        ///< Native pixels per point.
};

/// The screens of the desktop, as they are now. Main thread.
class Screens {
public:
    virtual ~Screens() = default;

    /// In the platform's order; empty when no screen is connected.
    [[nodiscard]] virtual std::vector<Screen> all() const = 0;

    /// The primary screen, whose bottom-left corner is the origin of screen coordinates.
    [[nodiscard]] virtual std::optional<Screen> main() const = 0;

    /// Called after every change of the screens from now on; an empty handler ends it.
    virtual void setChangeHandler(std::function<void()> handler) = 0;
};

} // namespace velmo
