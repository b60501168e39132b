#pragma once

#include <functional>
#include <optional>
#include <string>

struct sd_bus_message;

namespace velmo {

/// Whether a call may start the program that answers to the name, where the bus knows how.
enum class BusActivation { Never, IfNeeded };

/// A method to call.
struct BusRequest {
    std::string destination;
    std::string path;
    std::string interface;
    std::string member;
    std::optional<std::string> argument;
    std::optional<std::string> secondArgument = std::nullopt; ///< Only beside a first one.
    /// Writes what is more than a text; negative if that fails.
    std::function<int(sd_bus_message*)> writeArguments{};
    BusActivation activation = BusActivation::Never;
    /// The library erases what the message holds when it frees it; the answer's reader sees to the answer.
    bool isSensitive = false;
};

/// A call to the bus itself.
[[nodiscard]] BusRequest requestToBus(const std::string& member,
                                      const std::optional<std::string>& argument = std::nullopt);

/// A question for a property of an object.
[[nodiscard]] BusRequest requestForProperty(const std::string& destination, const std::string& path,
                                            const std::string& interface, const std::string& property);

/// The rule to listen by for new owners of a name, and for its loss: see BusMessage::readOwnerChange(). An
/// empty one stands for all names.
[[nodiscard]] std::string ownerRule(const std::string& name = {});

} // namespace velmo
