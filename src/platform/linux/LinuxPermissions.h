#pragma once

#include "platform/Permissions.h"
#include "platform/linux/PulseMicrophone.h"

#include <memory>

namespace velmo {

/// The display's permissions, the sound server's microphone and the desktop's settings, as one.
class LinuxPermissions final : public Permissions {
public:
    explicit LinuxPermissions(std::unique_ptr<DisplayPermissions> display);

    [[nodiscard]] bool accessibilityGranted() override { return display_->accessibilityGranted(); }
    [[nodiscard]] bool screenRecordingGranted() override { return display_->screenRecordingGranted(); }
    void requestScreenRecording() override { display_->requestScreenRecording(); }

    /// The sound server is asked on the side, for the first time by the first call.
    [[nodiscard]] MicrophoneStatus microphoneStatus() override { return microphone_.status(); }
    Subscription observeMicrophone(std::function<void()> handler) override;
    /// There is nobody who would ask the user: the answer is what the sound server says now.
    void requestMicrophoneAccess(std::function<void(bool isGranted)> onAnswer) override;

    PanelOpening openSettings(const QString& anchor) override;

private:
    std::unique_ptr<DisplayPermissions> display_;
    PulseMicrophone microphone_;
};

} // namespace velmo
