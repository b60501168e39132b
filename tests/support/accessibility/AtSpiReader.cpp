#include "support/accessibility/AtSpiReader.h"

#include "platform/linux/AtSpiNames.h"
#include "support/accessibility/BusAccess.h"
#include "support/x11/Await.h"

#include <systemd/sd-bus.h>

namespace velmo::test {
namespace {

constexpr const char* kAccessible = "org.a11y.atspi.Accessible";
constexpr const char* kText = "org.a11y.atspi.Text";

template <typename Number>
Number readNumber(sd_bus_message* message, char type)
{
    Number number = 0;
    if (message != nullptr)
        sd_bus_message_read_basic(message, type, &number);
    return number;
}

QString readText(sd_bus_message* message)
{
    const char* text = nullptr;
    if (message == nullptr || sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &text) <= 0)
        return {};
    return QString::fromUtf8(text);
}

int keepReply(sd_bus_message* reply, void* place, sd_bus_error*)
{
    *static_cast<sd_bus_message**>(place) = sd_bus_message_ref(reply);
    return 0;
}

} // namespace

void AtSpiReader::Unref::operator()(sd_bus_message* message) const
{
    sd_bus_message_unref(message);
}

AtSpiReader::AtSpiReader(const std::string& sessionAddress)
{
    std::string address;
    askBus(sessionAddress, {"org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", std::nullopt},
           [&](BusMessage& message) { address = message.readText().value_or(std::string()); });
    if (address.empty() || sd_bus_new(&bus_) < 0)
        return;
    if (sd_bus_set_address(bus_, address.c_str()) < 0 || sd_bus_set_bus_client(bus_, 1) < 0 ||
        sd_bus_start(bus_) < 0) {
        bus_ = sd_bus_unref(bus_);
        return;
    }
    sd_bus_add_match_async(
        bus_, nullptr, "type='signal',interface='org.a11y.atspi.Event.Object'",
        [](sd_bus_message* message, void* reader, sd_bus_error*) { return note(message, reader, nullptr); },
        nullptr, this);
    for (const char* events : {"object:", "window:"})
        call({atspi::kRegistry, atspi::kRegistryPath}, "org.a11y.atspi.Registry", "RegisterEvent",
             [events](sd_bus_message* message) { return sd_bus_message_append(message, "s", events); });
}

AtSpiReader::~AtSpiReader()
{
    sd_bus_close_unref(bus_);
}

int AtSpiReader::note(sd_bus_message* message, void* reader, void*)
{
    AtSpiEvent event;
    event.source = BusMessage(message).origin();
    event.member = sd_bus_message_get_member(message);
    event.kind = readText(message);
    event.first = readNumber<int>(message, SD_BUS_TYPE_INT32);
    event.second = readNumber<int>(message, SD_BUS_TYPE_INT32);
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, "s") > 0)
        event.text = readText(message);
    static_cast<AtSpiReader*>(reader)->events_.push_back(std::move(event));
    return 0;
}

void AtSpiReader::process()
{
    while (sd_bus_process(bus_, nullptr) > 0) {
    }
}

AtSpiReader::Message AtSpiReader::call(const BusObject& element, const char* interface, const char* member,
                                       const Fill& fill)
{
    sd_bus_message* made = nullptr;
    if (bus_ == nullptr || sd_bus_message_new_method_call(bus_, &made, element.name.c_str(),
                                                          element.path.c_str(), interface, member) < 0)
        return nullptr;
    const Message request(made);
    if (fill && fill(made) < 0)
        return nullptr;
    sd_bus_message* reply = nullptr;
    sd_bus_slot* slot = nullptr;
    if (sd_bus_call_async(bus_, &slot, made, keepReply, &reply, 0) < 0)
        return nullptr;
    static_cast<void>(awaitCondition([&] {
        process();
        return reply != nullptr;
    }));
    sd_bus_slot_unref(slot);
    Message result(reply);
    return reply != nullptr && sd_bus_message_is_method_error(reply, nullptr) == 0 ? std::move(result)
                                                                                   : nullptr;
}

AtSpiReader::Message AtSpiReader::property(const BusObject& element, const char* interface, const char* name)
{
    Message reply = call(element, "org.freedesktop.DBus.Properties", "Get", [&](sd_bus_message* message) {
        return sd_bus_message_append(message, "ss", interface, name);
    });
    if (reply != nullptr && sd_bus_message_enter_container(reply.get(), SD_BUS_TYPE_VARIANT, nullptr) <= 0)
        return nullptr;
    return reply;
}

std::optional<BusObject> AtSpiReader::application(qint64 processID)
{
    std::optional<BusObject> found;
    static_cast<void>(awaitCondition([&] {
        for (const BusObject& candidate : children({atspi::kRegistry, atspi::kRootPath})) {
            const Message reply =
                call({"org.freedesktop.DBus", "/org/freedesktop/DBus"}, "org.freedesktop.DBus",
                     "GetConnectionUnixProcessID", [&](sd_bus_message* message) {
                         return sd_bus_message_append(message, "s", candidate.name.c_str());
                     });
            if (readNumber<uint32_t>(reply.get(), SD_BUS_TYPE_UINT32) == processID)
                found = candidate;
        }
        return found.has_value();
    }));
    return found;
}

std::vector<BusObject> AtSpiReader::children(const BusObject& element)
{
    const Message reply = call(element, kAccessible, "GetChildren");
    return reply == nullptr ? std::vector<BusObject>() : BusMessage(reply.get()).readObjects();
}

QString AtSpiReader::textProperty(const BusObject& element, const char* name)
{
    return readText(property(element, kAccessible, name).get());
}

QString AtSpiReader::name(const BusObject& element)
{
    return textProperty(element, "Name");
}

QString AtSpiReader::description(const BusObject& element)
{
    return textProperty(element, "Description");
}

unsigned AtSpiReader::role(const BusObject& element)
{
    return readNumber<uint32_t>(call(element, kAccessible, "GetRole").get(), SD_BUS_TYPE_UINT32);
}

QString AtSpiReader::roleName(const BusObject& element)
{
    return readText(call(element, kAccessible, "GetRoleName").get());
}

bool AtSpiReader::hasState(const BusObject& element, unsigned bit)
{
    const Message reply = call(element, kAccessible, "GetState");
    if (reply == nullptr)
        return false;
    BusMessage message(reply.get());
    return (atspi::readStates(message).value_or(0) >> bit & 1) != 0;
}

std::optional<BusObject> AtSpiReader::find(const BusObject& from, const QString& name)
{
    if (this->name(from) == name)
        return from;
    for (const BusObject& child : children(from)) {
        if (auto found = find(child, name))
            return found;
    }
    return std::nullopt;
}

bool AtSpiReader::grabFocus(const BusObject& element)
{
    return readNumber<int>(call(element, "org.a11y.atspi.Component", "GrabFocus").get(),
                           SD_BUS_TYPE_BOOLEAN) != 0;
}

QString AtSpiReader::text(const BusObject& element, int begin, int end)
{
    return readText(call(element, kText, "GetText", [=](sd_bus_message* message) {
                        return sd_bus_message_append(message, "ii", begin, end);
                    }).get());
}

int AtSpiReader::characterCount(const BusObject& element)
{
    return readNumber<int>(property(element, kText, "CharacterCount").get(), SD_BUS_TYPE_INT32);
}

QString AtSpiReader::textAt(const BusObject& element, int offset, unsigned boundary)
{
    return readText(call(element, kText, "GetTextAtOffset", [=](sd_bus_message* message) {
                        return sd_bus_message_append(message, "iu", offset, boundary);
                    }).get());
}

QStringList AtSpiReader::attributes(const BusObject& element, int offset)
{
    const Message reply = call(element, kText, "GetAttributes", [=](sd_bus_message* message) {
        return sd_bus_message_append(message, "i", offset);
    });
    QStringList result;
    if (reply == nullptr || sd_bus_message_enter_container(reply.get(), SD_BUS_TYPE_ARRAY, "{ss}") <= 0)
        return result;
    const char* key = nullptr;
    const char* value = nullptr;
    while (sd_bus_message_read(reply.get(), "{ss}", &key, &value) > 0)
        result.append(QString::fromUtf8(key) + u':' + QString::fromUtf8(value));
    return result;
}

} // namespace velmo::test
