#include "permissions/PermissionChecker.h"

#include <algorithm>
#include <utility>

namespace velmo::PermissionChecker {

QList<MissingPermission> checkRequired(Permissions& permissions)
{
    QList<MissingPermission> missing;
    for (const MissingPermission permission : kAllPermissions) {
        if (isRequired(permission) && !isGranted(permissions, permission))
            missing.append(permission);
    }
    return missing;
}

QList<MissingPermission> checkAll(Permissions& permissions)
{
    return withMicrophone(permissions, checkRequired(permissions));
}

QList<MissingPermission> withMicrophone(Permissions& permissions, QList<MissingPermission> required)
{
    if (!isGranted(permissions, MissingPermission::Microphone))
        required.append(MissingPermission::Microphone);
    return required;
}

bool isGranted(Permissions& permissions, MissingPermission permission)
{
    switch (permission) {
    case MissingPermission::Accessibility:
        return permissions.accessibilityGranted();
    case MissingPermission::ScreenRecording:
        return permissions.screenRecordingGranted();
    case MissingPermission::Microphone:
        return permissions.microphoneStatus() == MicrophoneStatus::Authorized;
    }
    return false;
}

bool isMicrophoneRefused(Permissions& permissions)
{
    const MicrophoneStatus status = permissions.microphoneStatus();
    return status == MicrophoneStatus::Denied || status == MicrophoneStatus::Restricted;
}

PanelOpening request(Permissions& permissions, MissingPermission permission,
                     std::function<void()> onMicrophoneAnswer)
{
    switch (permission) {
    case MissingPermission::Accessibility:
        return permissions.openSettings(SettingsAnchor::Accessibility);
    case MissingPermission::ScreenRecording:
        permissions.requestScreenRecording();
        return permissions.openSettings(SettingsAnchor::ScreenCapture);
    case MissingPermission::Microphone:
        if (isMicrophoneRefused(permissions))
            return permissions.openSettings(SettingsAnchor::Microphone);
        permissions.requestMicrophoneAccess([onAnswer = std::move(onMicrophoneAnswer)](bool) { onAnswer(); });
        break;
    }
    return PanelOpening::opened();
}

} // namespace velmo::PermissionChecker
