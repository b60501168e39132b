#include "platform/linux/BusColorScheme.h"

#include "core/CurrentDesktops.h"
#include "platform/linux/PlasmaScheme.h"

#include <utility>

namespace velmo {
namespace {

const std::string kPortal = "org.freedesktop.portal.Desktop";
const std::string kPortalPath = "/org/freedesktop/portal/desktop";
const std::string kSettings = "org.freedesktop.portal.Settings";
const std::string kAppearance = "org.freedesktop.appearance";
const std::string kScheme = "color-scheme";
const std::string kPortalRule = "type='signal',path='" + kPortalPath + "',interface='" + kSettings +
                                "',member='SettingChanged',arg0='" + kAppearance + "',arg1='" + kScheme + "'";
const std::string kPlasmaRule =
    "type='signal',path='/KGlobalSettings',interface='org.kde.KGlobalSettings',member='notifyChange'";

/// As the portal numbers them; others may be added, and are no preference that we know.
ColorScheme::Preference preferenceOf(uint32_t number)
{
    switch (number) {
    case 1:
        return ColorScheme::Preference::Dark;
    case 2:
        return ColorScheme::Preference::Light;
    default:
        return ColorScheme::Preference::None;
    }
}

} // namespace

BusColorScheme::BusColorScheme(const std::string& sessionAddress, std::chrono::milliseconds patience)
    : patience_(patience)
    , bus_(BusConnection::open(sessionAddress))
    , plasma_(plasmaPreference())
    , known_(plasma_)
{
    if (!bus_)
        return;
    // Listening comes first, so that no change is missed between the answer and the first signal.
    ownerChanges_ = bus_->listen(ownerRule(kPortal), [this](BusMessage& message) {
        const auto change = message.readOwnerChange();
        if (change && change->name == kPortal && !change->owner.empty())
            ask(BusActivation::Never);
    });
    // Who sends it does not matter, since it only leads to a question.
    portalChanges_ = bus_->listen(kPortalRule, [this](BusMessage&) { ask(BusActivation::Never); });
    plasmaChanges_ = bus_->listen(kPlasmaRule, [this](BusMessage&) { become(portal_, plasmaPreference()); });
    // Without a desktop it would bring a number of services with it that such sessions do without, and not
    // know whom to ask.
    ask(currentDesktops().isEmpty() ? BusActivation::Never : BusActivation::IfNeeded);
    notifier_ = std::make_unique<BusNotifier>(*bus_, [this] { forgetBus(); });
}

BusColorScheme::~BusColorScheme() = default;

void BusColorScheme::ask(BusActivation activation)
{
    // Newer portals have another method that wraps the value only once; all have this one.
    question_ = bus_->call({.destination = kPortal,
                            .path = kPortalPath,
                            .interface = kSettings,
                            .member = "Read",
                            .argument = kAppearance,
                            .secondArgument = kScheme,
                            .activation = activation},
                           patience_, [this](BusMessage& answer) { hear(answer); });
}

/// A portal that does not know the setting answers with an error. Silence is no answer, nor is a portal that
/// has just gone.
void BusColorScheme::hear(BusMessage& answer)
{
    if (answer.isError("org.freedesktop.portal.Error.NotFound")) {
        become(Preference::None, plasma_);
        return;
    }
    if (answer.isError() || !answer.enter('v', "v") || !answer.enter('v', "u"))
        return;
    if (const auto number = answer.readNumber())
        become(preferenceOf(*number), plasma_);
}

void BusColorScheme::forgetBus()
{
    notifier_.reset();
    question_ = {};
    plasmaChanges_ = {};
    portalChanges_ = {};
    ownerChanges_ = {};
    bus_.reset();
}

void BusColorScheme::become(Preference portal, Preference plasma)
{
    portal_ = portal;
    plasma_ = plasma;
    // A portal on Plasma may be another desktop's, and tell what was chosen there.
    const Preference now = plasma != Preference::None ? plasma : portal;
    if (std::exchange(known_, now) == now || !handler_)
        return;
    // All windows change their looks at that, and the status item, which is not to happen inside of a
    // message.
    QTimer::singleShot(0, &later_, [this] {
        if (handler_)
            handler_();
    });
}

} // namespace velmo
