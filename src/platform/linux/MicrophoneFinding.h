#pragma once

#include "platform/Permissions.h"

namespace velmo {

/// What the sound server says of the microphone. There is more to do about it than the status tells.
enum class MicrophoneFinding {
    Unknown,  ///< It has not answered yet.
    NoServer, ///< None is there, or none that answers.
    NoMicrophone,
    Refused, ///< It does not let us in.
    Found,
};

[[nodiscard]] inline MicrophoneStatus statusOf(MicrophoneFinding finding)
{
    switch (finding) {
    case MicrophoneFinding::Unknown:
        break;
    case MicrophoneFinding::NoServer:
    case MicrophoneFinding::NoMicrophone:
        return MicrophoneStatus::Restricted;
    case MicrophoneFinding::Refused:
        return MicrophoneStatus::Denied;
    case MicrophoneFinding::Found:
        return MicrophoneStatus::Authorized;
    }
    return MicrophoneStatus::NotDetermined;
}

} // namespace velmo
