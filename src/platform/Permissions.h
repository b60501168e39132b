#pragma once

#include "core/Published.h"

#include <QString>
#include <functional>
#include <utility>

namespace velmo {

/// What the display lets this program do. Cheap enough to ask every second; never prompts. Main thread.
class DisplayPermissions {
public:
    virtual ~DisplayPermissions() = default;

    /// Input can be watched from the whole desktop.
    [[nodiscard]] virtual bool accessibilityGranted() = 0;

    /// The screen can be read. It may be the answer to the question before this one.
    [[nodiscard]] virtual bool screenRecordingGranted() = 0;

    /// Asks the system for the screen, where the system can be asked. The answer shows in
    /// screenRecordingGranted(), some time.
    virtual void requestScreenRecording() = 0;
};

enum class MicrophoneStatus {
    NotDetermined, ///< Nobody has answered yet.
    Restricted,    ///< There is no microphone, or nobody to ask for one.
    Denied,
    Authorized,
};

/// The panels of the desktop's settings, by the names that this program has for them.
namespace SettingsAnchor {

inline const QString Accessibility = QStringLiteral("Privacy_Accessibility");
inline const QString ScreenCapture = QStringLiteral("Privacy_ScreenCapture");
inline const QString Microphone = QStringLiteral("Privacy_Microphone");

} // namespace SettingsAnchor

/// What came of the wish to open a panel.
class [[nodiscard]] PanelOpening {
public:
    [[nodiscard]] static PanelOpening opened() { return PanelOpening({}); }
    /// This desktop has no such panel. The explanation says what there is to do instead, in a sentence or
    /// two for users.
    [[nodiscard]] static PanelOpening missing(QString explanation)
    {
        return PanelOpening(std::move(explanation));
    }

    [[nodiscard]] bool hasOpened() const { return explanation_.isEmpty(); }
    /// Empty when it has opened.
    [[nodiscard]] const QString& explanation() const { return explanation_; }

private:
    explicit PanelOpening(QString explanation)
        : explanation_(std::move(explanation))
    {}

    QString explanation_;
};

/// All that the desktop lets this program do, and the ways to change it. Main thread; never waits.
class Permissions : public DisplayPermissions {
public:
    /// What is known at the moment. Asking keeps it fresh.
    [[nodiscard]] virtual MicrophoneStatus microphoneStatus() = 0;

    /// Called when it has changed, on a later turn.
    virtual Subscription observeMicrophone(std::function<void()> handler) = 0;

    /// Asks for the microphone. The answer comes once, on a later turn and within a few seconds.
    virtual void requestMicrophoneAccess(std::function<void(bool isGranted)> onAnswer) = 0;

    /// Opens the panel of the desktop's settings that is for this.
    virtual PanelOpening openSettings(const QString& anchor) = 0;
};

} // namespace velmo
