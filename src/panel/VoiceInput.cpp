#include "core/DebugLog.h"
#include "core/Text.h"
#include "panel/HoldToRecordButton.h"
#include "panel/QueryInputTextView.h"
#include "panel/QueryPanelContentView.h"
#include "panel/QueryPanelTheme.h"
#include "voice/ReplicateWhisperService.h"

/// Asking by voice: the microphone, or Return in an empty field, is held while the question is spoken.
namespace velmo {

namespace {

using std::chrono::milliseconds;

/// Shorter holds are slips.
constexpr milliseconds kMinimumHold{1500};
/// Who lets go sooner than this did not know that there is something to hold.
constexpr milliseconds kMaximumTap{350};
constexpr milliseconds kHintDuration{1200};
constexpr float kHiddenPhaseAlpha = 0.25F;

void log(const QString& message)
{
    DebugLog::log(QStringLiteral("QueryPanel"), message);
}

void logEndOfHold(const QString& trigger, Clock::TimePoint::duration duration)
{
    const double seconds = std::chrono::duration<double>(duration).count();
    log(trigger + QStringLiteral(" hold-to-record ended duration=") + QString::number(seconds, 'f', 2) +
        u's');
}

} // namespace

/// False when nothing began.
bool QueryPanelContentView::startRecording()
{
    // A recording that began now would be taken for the one that is being transcribed.
    if (!transcriptionService_ || isRecording_ || isTranscribing_)
        return false;
    isRecording_ = true;
    isHeldByKeyboard_ = false;
    longestHold_.start();
    recordingStartedAt_ = desktop_.now();
    startMicrophoneBlinking();
    updateState();
    transcriptionService_->startRecording();
    return true;
}

void QueryPanelContentView::beginKeyboardRecording()
{
    if (!transcriptionService_ || queryField_->hasContent() ||
        session_.state().value() != SessionState::Querying || isRecording_ || isTranscribing_)
        return;
    startRecording();
    isHeldByKeyboard_ = true;
    log(QStringLiteral("Keyboard hold-to-record started"));
}

void QueryPanelContentView::endKeyboardRecording()
{
    // The microphone is being held; this key has begun nothing.
    if (isRecording_ && !isHeldByKeyboard_)
        return;
    if (!isRecording_ || !recordingStartedAt_) {
        teachHolding();
        return;
    }
    const auto duration = desktop_.now() - *recordingStartedAt_;
    endRecording(duration, QStringLiteral("Keyboard"));
    if (duration <= kMaximumTap)
        teachHolding();
}

void QueryPanelContentView::stopButtonRecordingAndTranscribe()
{
    if (!isRecording_ || !recordingStartedAt_ || isHeldByKeyboard_)
        return;
    endRecording(desktop_.now() - *recordingStartedAt_, QStringLiteral("Button"));
}

void QueryPanelContentView::endLongHold()
{
    if (isHeldByKeyboard_)
        endKeyboardRecording();
    else
        micButton_->letGo();
}

void QueryPanelContentView::endRecording(Clock::TimePoint::duration duration, const QString& trigger)
{
    longestHold_.stop();
    logEndOfHold(trigger, duration);
    if (duration >= kMinimumHold)
        finalizeRecordingAndTranscribe();
    else
        discardRecording();
}

void QueryPanelContentView::discardRecording()
{
    longestHold_.stop();
    transcriptionService_->cancelRecording();
    isRecording_ = false;
    recordingStartedAt_.reset();
    stopMicrophoneBlinking();
    updateState();
}

void QueryPanelContentView::finalizeRecordingAndTranscribe()
{
    if (!isRecording_)
        return;
    const QUuid messageID = session_.appendPendingUserMessage(QString());
    isRecording_ = false;
    recordingStartedAt_.reset();
    stopMicrophoneBlinking();
    isTranscribing_ = true;
    updateState();
    desktop_.startLasting(transcribe(this, transcriptionService_->stopAndTranscribe(), messageID));
}

async::Task<>
QueryPanelContentView::transcribe(QPointer<QueryPanelContentView> view,
                                  async::Task<Result<QString, TranscriptionFailure>> transcription,
                                  QUuid messageID)
{
    const auto result = co_await transcription;
    if (view)
        view->finishTranscription(messageID, result);
}

void QueryPanelContentView::finishTranscription(const QUuid& messageID,
                                                const Result<QString, TranscriptionFailure>& result)
{
    // The panel was closed meanwhile; its session is over, and the next one has nothing to do with this.
    if (!isTranscribing_)
        return;
    isTranscribing_ = false;
    if (!result) {
        const QString description = localizedDescription(result.error());
        session_.replaceChatMessage(messageID, QStringLiteral("[Transcription failed: ") + description + u']',
                                    false);
        updateState();
        log(QStringLiteral("transcription failed error=") + description);
        return;
    }
    const QString transcript = result.value().trimmed();
    if (transcript.isEmpty()) {
        session_.replaceChatMessage(messageID, QStringLiteral("No speech detected."), false);
        updateState();
        log(QStringLiteral("transcription produced empty transcript"));
        return;
    }
    session_.replaceChatMessage(messageID, transcript, false);
    queryField_->clear();
    queryField_->updatePlaceholder();
    queryField_->recalculateHeight();
    updateSendButton();
    updateState();
    session_.submit(transcript, messageID);
    log(QStringLiteral("transcription submitted chars=") + QString::number(characterCount(transcript)));
}

void QueryPanelContentView::teachHolding()
{
    if (!queryField_->hasContent())
        queryField_->showTemporaryPlaceholder(QStringLiteral("Hold Enter to record"), kHintDuration);
}

void QueryPanelContentView::startMicrophoneBlinking()
{
    isMicrophoneBlinkVisible_ = true;
    updateMicrophoneAppearance();
    microphoneBlinkTimer_.start();
}

void QueryPanelContentView::stopMicrophoneBlinking()
{
    microphoneBlinkTimer_.stop();
    isMicrophoneBlinkVisible_ = true;
    updateMicrophoneAppearance();
}

void QueryPanelContentView::updateMicrophoneAppearance()
{
    if (!isRecording_) {
        micButton_->setTint(QueryPanelTheme::dimText(), QueryPanelTheme::hoveredText(),
                            QueryPanelTheme::hoveredText());
        return;
    }
    QColor tint = QueryPanelTheme::recording();
    if (!isMicrophoneBlinkVisible_)
        tint.setAlphaF(kHiddenPhaseAlpha);
    micButton_->setTint(tint, tint, tint);
}

} // namespace velmo
