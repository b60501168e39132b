#pragma once

#include <QString>
#include <array>

namespace velmo {

/// What the desktop has to allow before the program can do all that it is for. The order is the one in which
/// people are asked.
enum class MissingPermission { Accessibility, ScreenRecording, Microphone };

inline constexpr std::array kAllPermissions{
    MissingPermission::Accessibility, MissingPermission::ScreenRecording, MissingPermission::Microphone};

/// Its name in logs and tools.
[[nodiscard]] inline QString rawValue(MissingPermission permission)
{
    switch (permission) {
    case MissingPermission::Accessibility:
        return QStringLiteral("accessibility");
    case MissingPermission::ScreenRecording:
        return QStringLiteral("screenRecording");
    case MissingPermission::Microphone:
        return QStringLiteral("microphone");
    }
    return {};
}

/// Without a microphone questions are typed.
[[nodiscard]] inline bool isRequired(MissingPermission permission)
{
    return permission != MissingPermission::Microphone;
}

} // namespace velmo
