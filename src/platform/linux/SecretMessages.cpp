#include "platform/linux/SecretMessages.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <utility>

namespace velmo {
namespace {

/// The schema of items that "secret-tool" makes, too.
const char* const kSchema = "org.freedesktop.Secret.Generic";
const char* const kContentType = "text/plain";

/// Takes the results of the library's functions one after the other; the first failure stays.
int firstFailure(std::initializer_list<int> results)
{
    const auto* failure = std::find_if(results.begin(), results.end(), [](int result) { return result < 0; });
    return failure == results.end() ? 0 : *failure;
}

} // namespace

BusRequest newRequest(const std::string& path, const std::string& interface, const std::string& member,
                      std::function<int(sd_bus_message*)> writeArguments)
{
    BusRequest request{kSecrets, path, interface, member, std::nullopt};
    request.writeArguments = std::move(writeArguments);
    request.activation = BusActivation::IfNeeded;
    return request;
}

int writePaths(sd_bus_message* message, const std::vector<std::string>& paths)
{
    int result = sd_bus_message_open_container(message, SD_BUS_TYPE_ARRAY, "o");
    for (const std::string& path : paths)
        result = firstFailure(
            {result, sd_bus_message_append_basic(message, SD_BUS_TYPE_OBJECT_PATH, path.c_str())});
    return firstFailure({result, sd_bus_message_close_container(message)});
}

int writeSecret(sd_bus_message* message, const std::string& session, const std::string& secret)
{
    return firstFailure({sd_bus_message_open_container(message, SD_BUS_TYPE_STRUCT, "oayays"),
                         sd_bus_message_append(message, "o", session.c_str()),
                         sd_bus_message_append_array(message, SD_BUS_TYPE_BYTE, nullptr, 0),
                         sd_bus_message_append_array(message, SD_BUS_TYPE_BYTE, secret.data(), secret.size()),
                         sd_bus_message_append(message, "s", kContentType),
                         sd_bus_message_close_container(message)});
}

int writeItem(sd_bus_message* message, const std::string& session, const SecretName& name,
              const std::string& secret)
{
    constexpr int kMayReplace = 0;
    const std::string label = "Velmo " + name.account;
    return firstFailure(
        {sd_bus_message_append(message, "a{sv}", 2, "org.freedesktop.Secret.Item.Label", "s", label.c_str(),
                               "org.freedesktop.Secret.Item.Attributes", "a{ss}", 3, "service",
                               name.service.c_str(), "account", name.account.c_str(), "xdg:schema", kSchema),
         writeSecret(message, session, secret), sd_bus_message_append(message, "b", kMayReplace)});
}

SecretFault faultOf(const BusMessage& error)
{
    if (error.isError("org.freedesktop.Secret.Error.IsLocked"))
        return SecretFault::IsLocked;
    if (error.isError(SD_BUS_ERROR_UNKNOWN_OBJECT) ||
        error.isError("org.freedesktop.Secret.Error.NoSuchObject"))
        return SecretFault::NoObject;
    // Of the bus, which waited for somebody to start.
    if (error.isError("org.freedesktop.DBus.Error.TimedOut"))
        return SecretFault::Timeout;
    // The bus answers in place of who is gone, or cannot be started.
    constexpr std::array kGone{SD_BUS_ERROR_NO_REPLY, "org.freedesktop.DBus.Error.Spawn.ChildExited",
                               "org.freedesktop.DBus.Error.Spawn.ServiceNotFound",
                               "org.freedesktop.DBus.Error.Spawn.ExecFailed",
                               "org.freedesktop.DBus.Error.Spawn.Failed"};
    const bool isGone =
        error.isFromNobody() ||
        std::any_of(kGone.begin(), kGone.end(), [&](const char* name) { return error.isError(name); });
    return isGone ? SecretFault::NoService : SecretFault::Refused;
}

} // namespace velmo
