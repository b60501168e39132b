#include "support/portal/ScriptedPortal.h"

#include <systemd/sd-bus.h>

namespace velmo::test {
namespace {

const char* const kPath = "/org/freedesktop/portal/desktop";
const char* const kSettings = "org.freedesktop.portal.Settings";
const char* const kAppearance = "org.freedesktop.appearance";

sd_bus* connectTo(const std::string& busAddress)
{
    sd_bus* bus = nullptr;
    sd_bus_new(&bus);
    sd_bus_set_address(bus, busAddress.c_str());
    sd_bus_set_bus_client(bus, 1);
    sd_bus_start(bus);
    return bus;
}

} // namespace

ScriptedPortal::ScriptedPortal(const std::string& busAddress, uint32_t scheme, Manner manner)
    : scheme_(scheme)
    , manner_(manner)
    , bus_(connectTo(busAddress))
{
    sd_bus_add_filter(
        bus_, nullptr,
        [](sd_bus_message* message, void* portal, sd_bus_error*) {
            return static_cast<ScriptedPortal*>(portal)->answer(message);
        },
        this);
    sd_bus_request_name(bus_, "org.freedesktop.portal.Desktop", 0);
    readable_ = std::make_unique<QSocketNotifier>(sd_bus_get_fd(bus_), QSocketNotifier::Read);
    QObject::connect(readable_.get(), &QSocketNotifier::activated, readable_.get(), [this] { process(); });
    // What came together with the name's answer.
    process();
}

ScriptedPortal::~ScriptedPortal()
{
    readable_.reset();
    sd_bus_flush_close_unref(bus_);
}

void ScriptedPortal::change(uint32_t scheme)
{
    scheme_ = scheme;
    tell(kAppearance, "color-scheme", scheme);
}

void ScriptedPortal::changeAnother()
{
    tell(kAppearance, "contrast", 1);
}

void ScriptedPortal::tell(const char* space, const char* key, uint32_t value)
{
    sd_bus_emit_signal(bus_, kPath, kSettings, "SettingChanged", "ssv", space, key, "u", value);
    sd_bus_flush(bus_);
}

void ScriptedPortal::process()
{
    while (sd_bus_process(bus_, nullptr) > 0) {
    }
    sd_bus_flush(bus_);
}

int ScriptedPortal::answer(sd_bus_message* call)
{
    if (sd_bus_message_is_method_call(call, kSettings, "Read") <= 0)
        return 0;
    ++questions_;
    const char* space = "";
    const char* key = "";
    sd_bus_message_read(call, "ss", &space, &key);
    const bool isKnown = std::string(space) == kAppearance && std::string(key) == "color-scheme";
    if (!isKnown || manner_ == Manner::DoesNotKnow)
        return sd_bus_reply_method_errorf(call, "org.freedesktop.portal.Error.NotFound", "as scripted");
    if (manner_ == Manner::Babbles)
        return sd_bus_reply_method_return(call, "s", "dark");
    if (manner_ == Manner::Answers)
        return sd_bus_reply_method_return(call, "v", "v", "u", scheme_);
    return 1;
}

void announcePlasmaColors(const std::string& busAddress)
{
    sd_bus* bus = connectTo(busAddress);
    sd_bus_emit_signal(bus, "/KGlobalSettings", "org.kde.KGlobalSettings", "notifyChange", "ii", 0, 0);
    sd_bus_flush_close_unref(bus);
}

} // namespace velmo::test
