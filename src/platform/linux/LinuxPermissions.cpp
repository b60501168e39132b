#include "platform/linux/LinuxPermissions.h"

#include "platform/linux/SettingsPanels.h"

#include <utility>

namespace velmo {

LinuxPermissions::LinuxPermissions(std::unique_ptr<DisplayPermissions> display)
    : display_(std::move(display))
{}

Subscription LinuxPermissions::observeMicrophone(std::function<void()> handler)
{
    return microphone_.observe(std::move(handler));
}

void LinuxPermissions::requestMicrophoneAccess(std::function<void(bool isGranted)> onAnswer)
{
    microphone_.ask([onAnswer = std::move(onAnswer)](MicrophoneStatus status) {
        onAnswer(status == MicrophoneStatus::Authorized);
    });
}

PanelOpening LinuxPermissions::openSettings(const QString& anchor)
{
    return SettingsPanels::open(anchor, microphone_.finding());
}

} // namespace velmo
