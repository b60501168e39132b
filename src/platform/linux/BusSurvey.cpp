#include "platform/linux/BusSurvey.h"

#include "platform/linux/BusConnection.h"

#include <algorithm>
#include <array>
#include <systemd/sd-bus.h>
#include <vector>

namespace velmo {
namespace {

const std::string kWatcher = "org.kde.StatusNotifierWatcher";
const std::string kPortal = "org.freedesktop.portal.Desktop";
const std::string kPortalPath = "/org/freedesktop/portal/desktop";
const std::array<std::string, 3> kPortalInterfaces{"GlobalShortcuts", "ScreenCast", "Screenshot"};

std::optional<unsigned> readVersion(BusMessage& answer)
{
    if (answer.isError() || !answer.enter(SD_BUS_TYPE_VARIANT, "u"))
        return std::nullopt;
    return answer.readNumber();
}

/// Questions that are all under way at once.
class Questions {
public:
    Questions(BusConnection& bus, std::chrono::milliseconds limit)
        : bus_(bus)
        , end_(Clock::now() + limit)
    {}

    void ask(const BusRequest& request, BusConnection::Handler handler)
    {
        ++open_;
        calls_.push_back(bus_.call(request, std::chrono::hours(1),
                                   [this, handler = std::move(handler)](BusMessage& answer) {
                                       --open_;
                                       handler(answer);
                                   }));
    }
    void await()
    {
        static_cast<void>(bus_.runUntil([this] { return open_ == 0; }, end_));
    }

private:
    BusConnection& bus_;
    const Clock::TimePoint end_;
    int open_ = 0;
    std::vector<BusListener> calls_;
};

} // namespace

BusSurvey BusSurvey::take(const std::string& address, std::chrono::milliseconds limit)
{
    BusSurvey survey;
    const auto bus = BusConnection::open(address);
    if (!bus)
        return survey;
    bool hasWatcher = false;
    bool hasPortal = false;
    bool isPortalStartable = false;
    std::optional<bool> hasHost;
    bool portalAnswered = false;
    const auto hasOwner = [](const std::string& name) { return requestToBus("NameHasOwner", name); };
    Questions questions(*bus, limit);
    questions.ask(requestToBus("ListActivatableNames"), [&](BusMessage& answer) {
        const auto names = answer.readTexts();
        isPortalStartable = std::ranges::find(names, kPortal) != names.end();
    });
    questions.ask(hasOwner(kWatcher),
                  [&](BusMessage& answer) { hasWatcher = answer.readFlag().value_or(false); });
    questions.ask(hasOwner(kPortal),
                  [&](BusMessage& answer) { hasPortal = answer.readFlag().value_or(false); });
    questions.ask(
        requestForProperty(kWatcher, "/StatusNotifierWatcher", kWatcher, "IsStatusNotifierHostRegistered"),
        [&](BusMessage& answer) { hasHost = answer.readFlagProperty().value_or(false); });
    for (const std::string& name : kPortalInterfaces) {
        questions.ask(requestForProperty(kPortal, kPortalPath, "org.freedesktop.portal." + name, "version"),
                      [&survey, &portalAnswered, name](BusMessage& answer) {
                          portalAnswered = true;
                          if (const auto version = readVersion(answer))
                              survey.portalInterfaces[name] = *version;
                      });
    }
    questions.await();

    // A watcher without anybody who shows what it knows is no tray.
    if (hasWatcher)
        survey.tray = !hasHost ? Presence::Silent : *hasHost ? Presence::Present : Presence::Absent;
    if (hasPortal)
        survey.portal = portalAnswered ? Presence::Present : Presence::Silent;
    else if (isPortalStartable)
        survey.portal = Presence::Startable;
    return survey;
}

} // namespace velmo
