#pragma once

#include "core/async/MainLoop.h"
#include "platform/Permissions.h"

#include <QStringList>
#include <utility>
#include <vector>

namespace velmo {

/// A desktop that allows what the test says. Like the real one it answers about the microphone on a later
/// turn, when the test wants it to.
class FakePermissions final : public Permissions {
public:
    [[nodiscard]] bool accessibilityGranted() override { return accessibility; }
    [[nodiscard]] bool screenRecordingGranted() override { return screenRecording; }
    void requestScreenRecording() override { requests.append(QStringLiteral("request screen recording")); }

    [[nodiscard]] MicrophoneStatus microphoneStatus() override
    {
        ++microphoneQuestions;
        return microphone;
    }
    Subscription observeMicrophone(std::function<void()> handler) override
    {
        return observers_.add(std::move(handler));
    }
    void requestMicrophoneAccess(std::function<void(bool isGranted)> onAnswer) override
    {
        requests.append(QStringLiteral("request microphone"));
        waiting_.push_back(std::move(onAnswer));
    }

    PanelOpening openSettings(const QString& anchor) override
    {
        requests.append(QStringLiteral("open ") + anchor);
        return explanation.isEmpty() ? PanelOpening::opened() : PanelOpening::missing(explanation);
    }

    /// Whoever observes the microphone hears of it.
    void becomeMicrophone(MicrophoneStatus status)
    {
        microphone = status;
        observers_.notify();
    }
    /// To all that asked, on the next turn.
    void answerMicrophone(MicrophoneStatus status)
    {
        microphone = status;
        for (auto& onAnswer : std::exchange(waiting_, {})) {
            async::postToMainLoop([onAnswer = std::move(onAnswer), status] {
                onAnswer(status == MicrophoneStatus::Authorized);
            });
        }
    }

    // What it allows.
    bool accessibility = false;
    bool screenRecording = false;
    MicrophoneStatus microphone = MicrophoneStatus::NotDetermined;
    QString explanation; ///< Of a desktop without panels; empty where they open.

    // What it was asked to do, in order.
    QStringList requests;
    int microphoneQuestions = 0;

private:
    Observers<> observers_;
    std::vector<std::function<void(bool)>> waiting_;
};

} // namespace velmo
