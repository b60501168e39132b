#pragma once

#include <chrono>
#include <map>
#include <string>

namespace velmo {

/// Who is on the session bus of what this program may use. Plain value. Nobody is started for it.
struct BusSurvey {
    enum class Presence { Absent, Startable, Silent, Present };

    Presence tray = Presence::Absent;   ///< Whoever shows status items.
    Presence portal = Presence::Absent; ///< org.freedesktop.portal.Desktop.
    /// Versions, by the last word of the interface's name.
    std::map<std::string, unsigned> portalInterfaces{};

    /// Waits for the limit at most.
    [[nodiscard]] static BusSurvey take(const std::string& address, std::chrono::milliseconds limit);
};

} // namespace velmo
