#pragma once

#include "core/AnnotationSession.h"
#include "core/async/TaskScope.h"
#include "panel/FrameRefresh.h"
#include "panel/PanelDesktop.h"
#include "voice/TranscriptionError.h"

#include <QPointer>
#include <QTimer>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

class QLabel;

namespace velmo {

class FocusRing;
class HoldToRecordButton;
class ImagePreviewWindowController;
class KeyBadgeView;
class ModelPillButton;
class PanelMenu;
class PanelToolTip;
class QueryInputTextView;
class RoundedBackgroundView;
class SendButton;
class SpinnerView;
class TextButton;
class TranscriptScrollView;

/// Everything inside the query panel: the transcript, the question field, and the footer. It fills its card
/// from the bottom up, so that what is at the bottom stays in its place while the card grows. Main thread.
class QueryPanelContentView final : public QWidget {
public:
    /// The session outlives it, or its detach() at least. Without a transcription service there is no
    /// microphone. onHeightChange is told the height that the content wants, in points.
    QueryPanelContentView(AnnotationSession& session, const PanelDesktop& desktop,
                          std::shared_ptr<ReplicateWhisperService> transcriptionService,
                          std::function<void(int)> onHeightChange);
    ~QueryPanelContentView() override;

    void focusField();
    /// Follows the session no longer. The session may end while the view is still there, hidden.
    void detach();

    [[nodiscard]] int desiredHeight() const;

    /// The models to choose from, or the settings for a user without any key.
    void showModelMenu();
    /// A provider's identifier, a colon, and a model's.
    void selectModel(const QString& value);

protected:
    bool event(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void buildTranscript();
    void buildInputRow();
    void buildFooter();
    void arrangeFocus();
    void subscribe();

    void layOut();
    void layOutInputRow(const QRect& row);
    void layOutFooter(const QRect& row);
    [[nodiscard]] int inputHeight() const;
    void updateContentHeight();

    void updateTranscript();
    void updateState();
    void updateSendButton();
    [[nodiscard]] bool isFieldFocused() const;
    void updateInputBorder();
    void updateModelButtonTitle();

    void submit();

    // Voice.
    bool startRecording();
    void beginKeyboardRecording();
    void endKeyboardRecording();
    void stopButtonRecordingAndTranscribe();
    void endLongHold();
    void endRecording(Clock::TimePoint::duration duration, const QString& trigger);
    void discardRecording();
    void finalizeRecordingAndTranscribe();
    [[nodiscard]] static async::Task<>
    transcribe(QPointer<QueryPanelContentView> view,
               async::Task<Result<QString, TranscriptionFailure>> transcription, QUuid messageID);
    void finishTranscription(const QUuid& messageID, const Result<QString, TranscriptionFailure>& result);
    void teachHolding();
    void startMicrophoneBlinking();
    void stopMicrophoneBlinking();
    void updateMicrophoneAppearance();

    void openAttachment(const ChatAttachment& attachment);
    async::Task<> showPreview(ChatAttachment attachment);
    void showToolTip(QPoint at);
    [[nodiscard]] PanelMenu* makeMenu(QWidget* parent) const;

    AnnotationSession& session_;
    PanelDesktop desktop_;
    std::shared_ptr<ReplicateWhisperService> transcriptionService_;
    std::function<void(int)> onHeightChange_;
    std::unique_ptr<ImagePreviewWindowController> imagePreviewController_;

    RoundedBackgroundView* cardView_;
    TranscriptScrollView* transcriptScrollView_ = nullptr;
    int transcriptHeight_ = 0;
    RoundedBackgroundView* inputContainer_ = nullptr;
    QueryInputTextView* queryField_ = nullptr;
    ModelPillButton* modelButton_ = nullptr;
    HoldToRecordButton* micButton_ = nullptr;
    SendButton* sendButton_ = nullptr;
    TextButton* cancelButton_ = nullptr;
    KeyBadgeView* escapeBadge_ = nullptr;
    SpinnerView* preparingSpinner_ = nullptr;
    QLabel* preparingLabel_ = nullptr;
    SpinnerView* transcribingSpinner_ = nullptr;
    QLabel* transcribingLabel_ = nullptr;
    FocusRing* focusRing_ = nullptr;
    std::unique_ptr<PanelToolTip> toolTip_;

    bool isRecording_ = false;
    bool isTranscribing_ = false;
    bool isHeldByKeyboard_ = false; ///< The recording is.
    std::optional<Clock::TimePoint> recordingStartedAt_;
    QTimer longestHold_{this};
    QTimer microphoneBlinkTimer_;
    bool isMicrophoneBlinkVisible_ = true;

    QTimer firstFocus_{this};
    FrameRefresh refreshTranscript_;
    LaterRefresh refreshState_;
    LaterRefresh refreshModel_;
    std::vector<Subscription> subscriptions_;
    async::TaskHandle<> preview_; ///< Is being decoded.
    async::TaskScope tasks_;
};

} // namespace velmo
