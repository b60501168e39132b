#pragma once

#include <QString>

namespace velmo {

/// The application's identifier: desktop file, bus name, keyring service, window class, thread and queue
/// labels. Nothing else spells it out.
inline constexpr const char* kApplicationIdentifier = "app.velmo.Velmo";

[[nodiscard]] inline QString applicationIdentifier()
{
    return QString::fromLatin1(kApplicationIdentifier);
}

} // namespace velmo
