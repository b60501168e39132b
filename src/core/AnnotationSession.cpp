#include "core/AnnotationSession.h"

#include "core/CoordinateSpace.h"
#include "core/DebugLog.h"
#include "core/SessionLog.h"
#include "core/Text.h"
#include "core/async/Timer.h"

namespace velmo {

namespace {

/// The window manager needs a moment after our windows are gone before it honours a request for focus.
constexpr std::chrono::milliseconds kFocusRestorationDelay{200};

QString describe(const std::optional<Screen>& screen)
{
    if (!screen)
        return QStringLiteral("nil");
    const QString id = screen->displayID ? QString::number(*screen->displayID) : QStringLiteral("nil");
    return screen->name + QStringLiteral(" frame=") + describe(screen->frame) +
           QStringLiteral(" displayID=") + id;
}

} // namespace

AnnotationSession::AnnotationSession(SessionCollaborators collaborators)
    : collaborators_(std::move(collaborators))
{}

AnnotationSession::~AnnotationSession()
{
    stopTrackingFocusChanges();
}

void AnnotationSession::begin(bool showToolbar)
{
    if (state_.value() != SessionState::Idle)
        return;
    focusRestorationTarget_.reset();
    if (const auto application = collaborators_.focus.frontmostApplication())
        focusRestorationTarget_ = FocusRestorationTarget::capture(*application, collaborators_.focus);
    startTrackingFocusChanges();

    sessionRevision_ = QUuid::createUuid();
    state_.set(SessionState::Drawing);
    streamedResponse_.set(QString());
    chatMessages_.clear();
    capturedImage_.reset();
    activeScreen_.reset();
    llmConversationPrefix_.clear();
    llmConversationHistory_.clear();
    isPreparingCapture_.set(false);
    logSession(QStringLiteral("Begin annotation session showToolbar=") + boolText(showToolbar));
    openOverlay(showToolbar);
}

void AnnotationSession::beginWithDraw(ScreenPoint point)
{
    if (state_.value() != SessionState::Idle)
        return;
    begin(false);
    scheduleStroke(point);
}

void AnnotationSession::scheduleStroke(ScreenPoint point)
{
    pendingStrokeStart_ = point;
    tasks_.start(beginScheduledStroke(sessionRevision_));
}

async::Task<> AnnotationSession::beginScheduledStroke(QUuid revision)
{
    if (isCurrent(revision))
        beginPendingStroke();
    co_return;
}

/// Drags may be queued before the scheduled start gets its turn, so whichever comes first begins the stroke.
void AnnotationSession::beginPendingStroke()
{
    const auto start = std::exchange(pendingStrokeStart_, std::nullopt);
    if (!start || state_.value() != SessionState::Drawing || !overlayController_)
        return;
    noteDrawingBegan(*start);
    if (DrawingCanvas* canvas = overlayController_->canvas())
        canvas->beginStroke(canvasPointFromScreen(*start, overlayController_->unionRect()));
}

void AnnotationSession::continueDraw(ScreenPoint point)
{
    if (state_.value() != SessionState::Drawing || !overlayController_)
        return;
    beginPendingStroke();
    if (DrawingCanvas* canvas = overlayController_->canvas())
        canvas->extendStroke(canvasPointFromScreen(point, overlayController_->unionRect()));
}

void AnnotationSession::endMiddleDraw()
{
    if (state_.value() != SessionState::Drawing)
        return;
    beginPendingStroke();
    DrawingCanvas* canvas = overlayController_ ? overlayController_->canvas() : nullptr;
    if (!canvas || !canvas->endStroke())
        return;
    const auto store = settings();
    if (!store || store->submitMode.value() != SubmitMode::ManualSubmit)
        advanceToQuery();
}

void AnnotationSession::noteDrawingBegan(ScreenPoint point)
{
    if (activeScreen_)
        return;
    activeScreen_ = screenContaining(point);
    if (!activeScreen_)
        activeScreen_ = collaborators_.screens.main();
    if (!activeScreen_) {
        const auto screens = collaborators_.screens.all();
        if (!screens.empty())
            activeScreen_ = screens.front();
    }
    logSession(QStringLiteral("Locked active screen to ") + describe(activeScreen_) +
               QStringLiteral(" for point=") + velmo::describe(point));
}

void AnnotationSession::advanceToQuery()
{
    if (state_.value() != SessionState::Drawing)
        return;
    if (isAdditionalCapture_) {
        completeAdditionalCapture();
        return;
    }
    state_.set(SessionState::Querying);
    logSession(QStringLiteral("Advancing from drawing to query panel screen=") + describe(activeScreen_));
    if (!overlayController_)
        return;
    const QImage strokes = renderStrokes();
    collaborators_.capture.freezeScreen(activeDisplayID());
    overlayController_->hideToolbar();
    queryPanelController_ = collaborators_.makePanel(*this, activeScreen_);
    queryPanelController_->showWindow();
    startCapture(CaptureKind::First, strokes);
}

void AnnotationSession::cancel()
{
    if (isAdditionalCapture_) {
        cancelAdditionalCapture();
        return;
    }
    stopTrackingFocusChanges();
    sessionRevision_ = QUuid::createUuid();
    dropCaptureTask();
    streamingTask_.cancel();
    streamingTask_ = {};
    closeOverlay();
    closePanel();
    capturedImage_.reset();
    activeScreen_.reset();
    llmConversationPrefix_.clear();
    llmConversationHistory_.clear();
    pendingAdditionalImageData_.reset();
    initialCaptureMessageID_.reset();
    pendingAdditionalMessageID_.reset();
    pendingStrokeStart_.reset();
    isChatHiddenForHint_ = false;
    streamedResponse_.set(QString());
    chatMessages_.clear();
    isPreparingCapture_.set(false);
    state_.set(SessionState::Idle);
    logSession(QStringLiteral("Session cancelled and state reset"));
    // Taken now: a session that begins within the delay has a target of its own.
    if (const auto target = std::exchange(focusRestorationTarget_, std::nullopt))
        tasks_.start(restoreFocus(*target));
}

void AnnotationSession::end()
{
    // An additional capture that is being drawn takes the first cancel for itself.
    if (isAdditionalCapture_)
        cancel();
    if (state_.value() != SessionState::Idle)
        cancel();
}

async::Task<> AnnotationSession::restoreFocus(FocusRestorationTarget target)
{
    co_await async::sleepFor(kFocusRestorationDelay);
    // A hurried user is already asking the next question.
    if (!queryPanelController_ || !queryPanelController_->isWindowVisible())
        target.restore(collaborators_.focus);
}

void AnnotationSession::startTrackingFocusChanges()
{
    collaborators_.focus.setActivationHandler([this](const RunningApplication& application) {
        if (state_.value() == SessionState::Idle)
            return;
        const auto target = FocusRestorationTarget::capture(application, collaborators_.focus);
        if (!target)
            return;
        focusRestorationTarget_ = target;
        logSession(QStringLiteral("Updated focus restoration target pid=") + QString::number(target->appPID));
    });
}

void AnnotationSession::stopTrackingFocusChanges()
{
    collaborators_.focus.setActivationHandler({});
}

void AnnotationSession::hideChatForHint()
{
    if (state_.value() != SessionState::Querying || isChatHiddenForHint_ || !queryPanelController_ ||
        !queryPanelController_->isWindowVisible())
        return;
    // No stroke can begin while the first overlay is up, and nothing would bring the panel back.
    if (overlayController_)
        return;
    queryPanelController_->hideWindow();
    isChatHiddenForHint_ = true;
}

void AnnotationSession::restoreChatAfterHint()
{
    if (!std::exchange(isChatHiddenForHint_, false))
        return;
    if (state_.value() == SessionState::Querying && !overlayController_)
        showPanelAgain();
}

QUuid AnnotationSession::appendPendingUserMessage(const QString& text)
{
    return chatMessages_.append(ChatMessage::pendingUser(text));
}

void AnnotationSession::replaceChatMessage(const QUuid& id, const QString& text, bool isStreaming)
{
    chatMessages_.replace(id, text, isStreaming);
}

void AnnotationSession::openOverlay(bool showToolbar)
{
    overlayController_ = collaborators_.makeOverlay(*this, showToolbar);
    if (overlayController_)
        overlayController_->showWindow();
}

void AnnotationSession::closeOverlay()
{
    if (!overlayController_)
        return;
    overlayController_->close();
    retire(std::move(overlayController_));
}

void AnnotationSession::closePanel()
{
    if (!queryPanelController_)
        return;
    queryPanelController_->close();
    retire(std::move(queryPanelController_));
}

/// Windows are dropped on a later turn, since the call that ends them often comes from one of their own
/// events; but with the session at the latest, because they use what outlives only the session.
void AnnotationSession::retire(std::shared_ptr<void> window)
{
    retired_.push_back(std::move(window));
    tasks_.start(dropRetired());
}

async::Task<> AnnotationSession::dropRetired()
{
    std::exchange(retired_, {}).clear();
    co_return;
}

void AnnotationSession::showPanelAgain()
{
    if (!queryPanelController_)
        return;
    queryPanelController_->bringToFront();
    collaborators_.focus.activateThisApplication();
    queryPanelController_->focusInput();
}

std::optional<Screen> AnnotationSession::screenContaining(ScreenPoint point) const
{
    for (const Screen& screen : collaborators_.screens.all()) {
        if (screen.frame.contains(point))
            return screen;
    }
    return std::nullopt;
}

std::optional<quint32> AnnotationSession::activeDisplayID() const
{
    return activeScreen_ ? activeScreen_->displayID : std::nullopt;
}

QImage AnnotationSession::renderStrokes()
{
    const DrawingCanvas* canvas = overlayController_->canvas();
    if (!canvas)
        return {};
    if (!activeScreen_)
        return canvas->renderToImage(std::nullopt);
    return canvas->renderToImage(canvasRectFromScreen(activeScreen_->frame, overlayController_->unionRect()));
}

} // namespace velmo
