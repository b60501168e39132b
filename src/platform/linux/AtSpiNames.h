#pragma once

#include "platform/linux/BusConnection.h"

#include <QtGlobal>
#include <chrono>
#include <optional>
#include <string>

/// How things are called on an accessibility bus.
namespace velmo::atspi {

inline const std::string kRegistry = "org.a11y.atspi.Registry";
inline const std::string kRegistryPath = "/org/a11y/atspi/registry";
/// Every application's own element, above its windows.
inline const std::string kRootPath = "/org/a11y/atspi/accessible/root";

/// For answers of applications. Whoever waits for one gives up earlier, and the call with it.
inline constexpr std::chrono::seconds kAnswerLimit{1};

/// States of an element, as bits.
enum State : quint64 {
    kActive = quint64{1} << 1,
    kDefunct = quint64{1} << 6,
    kFocused = quint64{1} << 12,
    kShowing = quint64{1} << 25,
    /// Children come and go as they are looked at, and there may be any number of them.
    kManagesDescendants = quint64{1} << 31,
};

[[nodiscard]] inline BusRequest getState(const BusObject& element)
{
    return {element.name, element.path, "org.a11y.atspi.Accessible", "GetState", std::nullopt};
}

[[nodiscard]] inline BusRequest getChildren(const BusObject& element)
{
    return {element.name, element.path, "org.a11y.atspi.Accessible", "GetChildren", std::nullopt};
}

[[nodiscard]] inline BusRequest grabFocus(const BusObject& element)
{
    return {element.name, element.path, "org.a11y.atspi.Component", "GrabFocus", std::nullopt};
}

/// The answer to getState(); nothing for an error.
[[nodiscard]] inline std::optional<quint64> readStates(BusMessage& message)
{
    const auto words = message.readNumbers();
    if (words.size() < 2)
        return std::nullopt;
    return words[0] | quint64{words[1]} << 32;
}

} // namespace velmo::atspi
