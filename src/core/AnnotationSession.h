#pragma once

#include "core/FocusRestorationTarget.h"
#include "core/Published.h"
#include "core/SessionCollaborators.h"
#include "core/SessionTypes.h"
#include "core/SettingsManager.h"
#include "core/Transcript.h"
#include "core/async/TaskScope.h"

#include <vector>

namespace velmo {

/// Runs one annotate-and-ask interaction at a time, from gesture to answer. Main thread; points are global
/// screen coordinates.
///
/// Every begin() and every full cancel() replaces the session's revision. Work that was started under an
/// older revision changes nothing and says nothing when it comes back.
class AnnotationSession {
public:
    explicit AnnotationSession(SessionCollaborators collaborators);
    AnnotationSession(const AnnotationSession&) = delete;
    AnnotationSession& operator=(const AnnotationSession&) = delete;
    ~AnnotationSession();

    void setSettings(std::weak_ptr<SettingsManager> settings) { settings_ = std::move(settings); }
    /// Nothing once the settings are gone.
    [[nodiscard]] std::shared_ptr<SettingsManager> settings() const { return settings_.lock(); }

    [[nodiscard]] const Observable<SessionState>& state() const { return state_; }
    [[nodiscard]] const Observable<bool>& isPreparingCapture() const { return isPreparingCapture_; }
    [[nodiscard]] const PublishedText& streamedResponse() const { return streamedResponse_; }
    [[nodiscard]] const Transcript& chatMessages() const { return chatMessages_; }

    /// Starts a session; only when idle. The toolbar is for starts by hotkey or menu.
    void begin(bool showToolbar);
    /// Starts a session by a gesture whose first stroke begins at the point, on the next turn of the main
    /// loop.
    void beginWithDraw(ScreenPoint point);
    /// The gesture's drag and release; only while drawing.
    void continueDraw(ScreenPoint point);
    void endMiddleDraw();
    /// The canvas says where each stroke begins; the first one fixes the screen.
    void noteDrawingBegan(ScreenPoint point);
    /// The drawing is done: on to the question.
    void advanceToQuery();

    /// More of the screen for the same chat; only between questions, once the first was sent.
    void beginAdditionalCapture(bool showToolbar);
    void beginAdditionalCaptureWithDraw(ScreenPoint point);
    void removeAttachmentMessage(QUuid id);

    /// A user message that is still being produced (dictation); the later submit() names it.
    QUuid appendPendingUserMessage(const QString& text);
    void replaceChatMessage(const QUuid& id, const QString& text, bool isStreaming);
    /// Sends the question; only while querying. An existing message takes the question's text.
    void submit(const QString& query, const std::optional<QUuid>& existingUserMessageID = std::nullopt);

    /// Ends the session from any state; an additional capture that is being drawn only ends that.
    void cancel();
    /// Ends the whole session from any state, a chat with an additional capture included: for whoever is not
    /// in front of our windows.
    void end();

    /// The hint capsule takes the panel's place for a moment.
    void hideChatForHint();
    void restoreChatAfterHint();

private:
    enum class CaptureKind { First, Additional };
    struct Submission;

    /// Whether work started under that revision may still change anything.
    [[nodiscard]] bool isCurrent(const QUuid& revision) const { return revision == sessionRevision_; }

    void startTrackingFocusChanges();
    void stopTrackingFocusChanges();
    async::Task<> restoreFocus(FocusRestorationTarget target);

    void openOverlay(bool showToolbar);
    void closeOverlay();
    void closePanel();
    void retire(std::shared_ptr<void> window);
    async::Task<> dropRetired();
    void showPanelAgain();
    void leaveOverlayForPanel();
    void scheduleStroke(ScreenPoint point);
    async::Task<> beginScheduledStroke(QUuid revision);
    void beginPendingStroke();

    [[nodiscard]] std::optional<Screen> screenContaining(ScreenPoint point) const;
    [[nodiscard]] std::optional<quint32> activeDisplayID() const;
    [[nodiscard]] QImage renderStrokes();
    void completeAdditionalCapture();
    void cancelAdditionalCapture();
    void startCapture(CaptureKind kind, const QImage& strokes);
    void dropCaptureTask();
    async::Task<std::optional<QByteArray>> runCapture(CaptureKind kind, std::optional<quint32> displayID,
                                                      QImage strokes, QUuid revision, quint64 serial);
    void finishCapture(CaptureKind kind, const QByteArray& image);

    async::Task<> performSubmit(Submission submission);
    async::Task<std::optional<QByteArray>> awaitCapturedImage();
    void finishSubmissionWithError(const QString& text);
    async::Task<> streamAnswer(Submission submission, std::unique_ptr<LLMProvider> provider,
                               std::optional<QByteArray> image);
    void completeAnswer(const QUuid& assistantMessageID, const std::optional<LLMMessage>& followUp);
    void failAnswer(const QUuid& assistantMessageID, const QString& description);

    SessionCollaborators collaborators_;
    std::weak_ptr<SettingsManager> settings_;

    Published<SessionState> state_{SessionState::Idle};
    PublishedText streamedResponse_;
    Transcript chatMessages_;
    Published<bool> isPreparingCapture_{false};

    std::unique_ptr<AnnotationOverlay> overlayController_;
    std::unique_ptr<QuestionPanel> queryPanelController_;
    std::vector<std::shared_ptr<void>> retired_; ///< Closed windows on their last turn.
    std::optional<QByteArray> capturedImage_;
    std::optional<Screen> activeScreen_;
    async::TaskHandle<std::optional<QByteArray>> captureTask_;
    quint64 captureSerial_ = 0; ///< Tells the newest capture from the ones that it superseded.
    async::TaskHandle<> streamingTask_;
    QUuid sessionRevision_ = QUuid::createUuid();
    std::optional<FocusRestorationTarget> focusRestorationTarget_;
    QList<LLMMessage> llmConversationPrefix_;
    QList<LLMMessage> llmConversationHistory_;
    bool isAdditionalCapture_ = false;
    std::optional<QByteArray> pendingAdditionalImageData_;
    std::optional<QUuid> initialCaptureMessageID_;
    std::optional<QUuid> pendingAdditionalMessageID_;
    bool isChatHiddenForHint_ = false;
    std::optional<ScreenPoint> pendingStrokeStart_; ///< A gesture's stroke that begins on the next turn.

    async::TaskScope tasks_; ///< Last, so that no task outlives what it works on.
};

} // namespace velmo
