// Captures: the first one, further ones for the same chat, and taking one back.

#include "core/AnnotationSession.h"
#include "core/SessionLog.h"
#include "core/Text.h"

namespace velmo {

void AnnotationSession::beginAdditionalCapture(bool showToolbar)
{
    if (state_.value() != SessionState::Querying || !queryPanelController_ || overlayController_) {
        logSession(QStringLiteral("beginAdditionalCapture ignored state=") + describe(state_.value()) +
                   QStringLiteral(" hasPanel=") + boolText(queryPanelController_ != nullptr) +
                   QStringLiteral(" hasOverlay=") + boolText(overlayController_ != nullptr));
        return;
    }
    logSession(QStringLiteral("Begin additional capture"));
    isAdditionalCapture_ = true;
    activeScreen_.reset();
    state_.set(SessionState::Drawing);
    queryPanelController_->hideWindow();
    openOverlay(showToolbar);
}

void AnnotationSession::beginAdditionalCaptureWithDraw(ScreenPoint point)
{
    beginAdditionalCapture(false);
    // A refused capture must not leave a stroke on the overlay that is still up.
    if (state_.value() == SessionState::Drawing && isAdditionalCapture_)
        scheduleStroke(point);
}

void AnnotationSession::completeAdditionalCapture()
{
    if (!overlayController_) {
        isAdditionalCapture_ = false;
        state_.set(SessionState::Querying);
        return;
    }
    const QImage strokes = renderStrokes();
    collaborators_.capture.freezeScreen(activeDisplayID());
    isAdditionalCapture_ = false;
    state_.set(SessionState::Querying);
    leaveOverlayForPanel();
    startCapture(CaptureKind::Additional, strokes);
}

void AnnotationSession::cancelAdditionalCapture()
{
    logSession(QStringLiteral("Cancel additional capture"));
    pendingStrokeStart_.reset();
    isAdditionalCapture_ = false;
    activeScreen_.reset();
    state_.set(SessionState::Querying);
    leaveOverlayForPanel();
}

/// The panel has the keyboard before the overlay lets it go: in between, keys would reach the application
/// below.
void AnnotationSession::leaveOverlayForPanel()
{
    showPanelAgain();
    closeOverlay();
}

void AnnotationSession::startCapture(CaptureKind kind, const QImage& strokes)
{
    isPreparingCapture_.set(true);
    captureTask_.cancel();
    captureTask_ =
        tasks_.start(runCapture(kind, activeDisplayID(), strokes, sessionRevision_, ++captureSerial_));
}

void AnnotationSession::dropCaptureTask()
{
    captureTask_.cancel();
    captureTask_ = {};
}

async::Task<std::optional<QByteArray>> AnnotationSession::runCapture(CaptureKind kind,
                                                                     std::optional<quint32> displayID,
                                                                     QImage strokes, QUuid revision,
                                                                     quint64 serial)
{
    const QString name = kind == CaptureKind::First ? QStringLiteral("Screenshot capture")
                                                    : QStringLiteral("Additional capture");
    std::optional<Result<QByteArray, PlatformError>> result;
    try {
        result = co_await collaborators_.capture.captureWithAnnotations(displayID, std::move(strokes));
    } catch (const async::Cancelled&) {
        // Handled below: it is one of three outcomes.
    }
    if (!isCurrent(revision))
        co_return std::nullopt;

    // The fields belong to the newest capture; one that it superseded must leave them alone.
    if (serial == captureSerial_) {
        captureTask_ = {};
        isPreparingCapture_.set(false);
    }
    if (!result) {
        logSession(name + QStringLiteral(" cancelled"));
        co_return std::nullopt;
    }
    if (!*result) {
        const QString failed = kind == CaptureKind::First
                                   ? QStringLiteral("Capture failed error=")
                                   : QStringLiteral("Additional capture failed error=");
        logSession(failed + result->error().description);
        if (kind == CaptureKind::First)
            capturedImage_.reset();
        co_return std::nullopt;
    }
    finishCapture(kind, result->value());
    co_return result->value();
}

void AnnotationSession::finishCapture(CaptureKind kind, const QByteArray& image)
{
    const QString byteCount = QString::number(image.size());
    if (kind == CaptureKind::First) {
        capturedImage_ = image;
        initialCaptureMessageID_ = chatMessages_.append(ChatMessage::capture(image));
        logSession(QStringLiteral("Screenshot captured bytes=") + byteCount);
        return;
    }
    if (pendingAdditionalImageData_) {
        logSession(
            QStringLiteral("Additional capture overwrote a prior pending image — only the latest will be "
                           "sent to the LLM"));
    }
    pendingAdditionalImageData_ = image;
    pendingAdditionalMessageID_ = chatMessages_.append(ChatMessage::capture(image));
    logSession(QStringLiteral("Additional capture complete bytes=") + byteCount);
}

/// By value: callers pass the id of the very message that goes.
void AnnotationSession::removeAttachmentMessage(QUuid id)
{
    if (!chatMessages_.remove(id))
        return;
    if (id == initialCaptureMessageID_) {
        initialCaptureMessageID_.reset();
        capturedImage_.reset();
        dropCaptureTask();
        isPreparingCapture_.set(false);
        logSession(QStringLiteral("Initial capture attachment removed by user"));
    } else if (id == pendingAdditionalMessageID_) {
        pendingAdditionalMessageID_.reset();
        pendingAdditionalImageData_.reset();
        logSession(QStringLiteral("Additional capture attachment removed by user"));
    }
}

} // namespace velmo
