#include "platform/linux/BusRequest.h"

namespace velmo {
namespace {

/// Requests are made before the program's first function runs, too, so nothing here may have to be
/// constructed.
constexpr const char* kBus = "org.freedesktop.DBus";
constexpr const char* kBusPath = "/org/freedesktop/DBus";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kOwnerRule = "type='signal',sender='org.freedesktop.DBus',"
                                   "interface='org.freedesktop.DBus',member='NameOwnerChanged'";

} // namespace

BusRequest requestToBus(const std::string& member, const std::optional<std::string>& argument)
{
    return {kBus, kBusPath, kBus, member, argument};
}

BusRequest requestForProperty(const std::string& destination, const std::string& path,
                              const std::string& interface, const std::string& property)
{
    return {destination, path, kProperties, "Get", interface, property};
}

std::string ownerRule(const std::string& name)
{
    return name.empty() ? kOwnerRule : std::string(kOwnerRule) + ",arg0='" + name + "'";
}

} // namespace velmo
