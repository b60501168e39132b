#pragma once

#include "permissions/MissingPermission.h"
#include "platform/Permissions.h"

#include <QList>
#include <functional>

namespace velmo {

/// Questions about permissions, none of which prompts or waits. Main thread.
namespace PermissionChecker {

/// Those without which the program cannot work, in their order.
[[nodiscard]] QList<MissingPermission> checkRequired(Permissions& permissions);

/// Those, and the microphone.
[[nodiscard]] QList<MissingPermission> checkAll(Permissions& permissions);

/// The same where those have been looked for already. It asks for the microphone alone.
[[nodiscard]] QList<MissingPermission> withMicrophone(Permissions& permissions,
                                                      QList<MissingPermission> required);

[[nodiscard]] bool isGranted(Permissions& permissions, MissingPermission permission);

/// The user has said no to the microphone, or there is none: only the desktop's settings can help.
[[nodiscard]] bool isMicrophoneRefused(Permissions& permissions);

/// What a button about the permission does: asks the system, or opens the desktop's settings, or both. A
/// question about the microphone has an answer later, whatever it is; everything else has none.
PanelOpening request(Permissions& permissions, MissingPermission permission,
                     std::function<void()> onMicrophoneAnswer);

} // namespace PermissionChecker

} // namespace velmo
