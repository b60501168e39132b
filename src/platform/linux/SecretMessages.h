#pragma once

#include "platform/linux/BusConnection.h"

#include <functional>
#include <string>
#include <tuple>
#include <vector>

namespace velmo {

/// Why the Secret Service did not do what was asked.
enum class SecretFault {
    NoBus,
    NoService, ///< Nobody on the bus keeps secrets, or no longer.
    Timeout,
    IsLocked,
    NoObject,      ///< What it was asked about is not there.
    Dismissed,     ///< The user did not want to.
    Refused,       ///< Any other error.
    NotUnderstood, ///< An answer that means nothing.
    Unconfirmed,   ///< A secret was sent, and what became of it is not known.
    Interrupted,   ///< The Interrupt asked for an end.
};

/// Whoever keeps secrets has this name on the bus.
inline constexpr const char* kSecrets = "org.freedesktop.secrets";

/// By what a secret is found; that of other programs may carry more attributes.
struct SecretName {
    std::string service;
    std::string account;
    friend bool operator==(const SecretName&, const SecretName&) = default;
    friend bool operator<(const SecretName& one, const SecretName& other)
    {
        return std::tie(one.service, one.account) < std::tie(other.service, other.account);
    }
};

/// The parts of messages to and from the Secret Service. Functions that write give a negative number when
/// they fail, as the library's do.

/// A call to an object of the service, which the bus may start for it.
[[nodiscard]] BusRequest newRequest(const std::string& path, const std::string& interface,
                                    const std::string& member,
                                    std::function<int(sd_bus_message*)> writeArguments = {});

/// A list of objects.
[[nodiscard]] int writePaths(sd_bus_message* message, const std::vector<std::string>& paths);

/// A secret in the open, as it is passed in a session that was opened as "plain".
[[nodiscard]] int writeSecret(sd_bus_message* message, const std::string& session, const std::string& secret);

/// The description of a new item beside those that are there, and its secret.
[[nodiscard]] int writeItem(sd_bus_message* message, const std::string& session, const SecretName& name,
                            const std::string& secret);

/// What an answer that is an error means.
[[nodiscard]] SecretFault faultOf(const BusMessage& error);

} // namespace velmo
