#include "platform/linux/BusMessage.h"

#include <systemd/sd-bus.h>

#include <utility>

namespace velmo {

bool BusMessage::isError() const
{
    return sd_bus_message_is_method_error(message_, nullptr) > 0;
}

bool BusMessage::isError(const char* name) const
{
    return sd_bus_message_is_method_error(message_, name) > 0;
}

bool BusMessage::isFromNobody() const
{
    return sd_bus_message_is_method_error(message_, SD_BUS_ERROR_NAME_HAS_NO_OWNER) > 0 ||
           sd_bus_message_is_method_error(message_, SD_BUS_ERROR_SERVICE_UNKNOWN) > 0;
}

BusObject BusMessage::origin() const
{
    const char* name = sd_bus_message_get_sender(message_);
    const char* path = sd_bus_message_get_path(message_);
    return {name != nullptr ? name : "", path != nullptr ? path : ""};
}

std::optional<std::string> BusMessage::readText()
{
    const char* text = nullptr;
    if (sd_bus_message_read_basic(message_, SD_BUS_TYPE_STRING, &text) <= 0)
        return std::nullopt;
    return text;
}

std::optional<int32_t> BusMessage::readSigned()
{
    int32_t number = 0;
    if (sd_bus_message_read_basic(message_, SD_BUS_TYPE_INT32, &number) <= 0)
        return std::nullopt;
    return number;
}

std::optional<uint32_t> BusMessage::readNumber()
{
    uint32_t number = 0;
    if (sd_bus_message_read_basic(message_, SD_BUS_TYPE_UINT32, &number) <= 0)
        return std::nullopt;
    return number;
}

std::optional<bool> BusMessage::readFlagProperty()
{
    int flag = 0;
    if (sd_bus_message_read(message_, "v", "b", &flag) <= 0)
        return std::nullopt;
    return flag != 0;
}

std::vector<std::string> BusMessage::readTexts()
{
    std::vector<std::string> texts;
    if (sd_bus_message_enter_container(message_, SD_BUS_TYPE_ARRAY, "s") <= 0)
        return texts;
    while (auto text = readText())
        texts.push_back(std::move(*text));
    sd_bus_message_exit_container(message_);
    return texts;
}

std::vector<uint32_t> BusMessage::readNumbers()
{
    std::vector<uint32_t> numbers;
    if (sd_bus_message_enter_container(message_, SD_BUS_TYPE_ARRAY, "u") <= 0)
        return numbers;
    while (const auto number = readNumber())
        numbers.push_back(*number);
    sd_bus_message_exit_container(message_);
    return numbers;
}

std::vector<BusObject> BusMessage::readObjects()
{
    std::vector<BusObject> objects;
    if (sd_bus_message_enter_container(message_, SD_BUS_TYPE_ARRAY, "(so)") <= 0)
        return objects;
    const char* name = nullptr;
    const char* path = nullptr;
    while (sd_bus_message_read(message_, "(so)", &name, &path) > 0)
        objects.push_back({name, path});
    sd_bus_message_exit_container(message_);
    return objects;
}

std::optional<BusOwnerChange> BusMessage::readOwnerChange()
{
    auto name = readText();
    const auto formerOwner = readText();
    auto owner = readText();
    if (!name || !formerOwner || !owner)
        return std::nullopt;
    return BusOwnerChange{std::move(*name), std::move(*owner)};
}

std::optional<bool> BusMessage::readFlag()
{
    int flag = 0;
    if (sd_bus_message_read_basic(message_, SD_BUS_TYPE_BOOLEAN, &flag) <= 0)
        return std::nullopt;
    return flag != 0;
}

std::optional<std::string> BusMessage::readPath()
{
    const char* path = nullptr;
    if (sd_bus_message_read_basic(message_, SD_BUS_TYPE_OBJECT_PATH, &path) <= 0)
        return std::nullopt;
    return path;
}

std::optional<std::vector<std::string>> BusMessage::readPaths()
{
    constexpr size_t kMost = 1000;
    if (!enter(SD_BUS_TYPE_ARRAY, "o"))
        return std::nullopt;
    std::vector<std::string> paths;
    while (auto path = readPath()) {
        if (paths.size() == kMost)
            return std::nullopt;
        paths.push_back(std::move(*path));
    }
    leave();
    return paths;
}

std::optional<std::string> BusMessage::readBytes()
{
    const void* bytes = nullptr;
    size_t count = 0;
    if (sd_bus_message_read_array(message_, SD_BUS_TYPE_BYTE, &bytes, &count) < 0)
        return std::nullopt;
    return count == 0 ? std::string() : std::string(static_cast<const char*>(bytes), count);
}

bool BusMessage::enter(char type, const char* contents)
{
    return sd_bus_message_enter_container(message_, type, contents) > 0;
}

void BusMessage::leave()
{
    sd_bus_message_exit_container(message_);
}

void BusMessage::eraseWhenFreed()
{
    sd_bus_message_sensitive(message_);
}

void BusMessage::skip(const char* types)
{
    sd_bus_message_skip(message_, types);
}

std::string BusMessage::method() const
{
    const char* name = sd_bus_message_get_member(message_);
    return name != nullptr ? name : "";
}

void BusMessage::answer()
{
    sd_bus_reply_method_return(message_, "");
}

void BusMessage::answer(const std::string& text)
{
    sd_bus_reply_method_return(message_, "s", text.c_str());
}

void BusMessage::refuse(const std::string& name, const std::string& text)
{
    sd_bus_reply_method_errorf(message_, name.c_str(), "%s", text.c_str());
}

std::shared_ptr<sd_bus_message> BusMessage::keep() const
{
    return {sd_bus_message_ref(message_), [](sd_bus_message* message) { sd_bus_message_unref(message); }};
}

} // namespace velmo
