#include "input/HotkeyMonitor.h"

#include "core/CoordinateSpace.h"
#include "core/async/MainLoop.h"

#include <QByteArray>
#include <utility>

namespace velmo {

namespace {

/// The modifiers that make a hotkey what it is.
constexpr quint64 kHotkeyMask =
    ModifierFlag::Shift | ModifierFlag::Control | ModifierFlag::Option | ModifierFlag::Command;

/// The modifiers that make the chord what it is; Shift may be held or not.
constexpr quint64 kQuickDrawMask =
    ModifierFlag::Control | ModifierFlag::Option | ModifierFlag::Command | ModifierFlag::Function;

/// A middle press that moves farther is a stroke, in points.
constexpr double kMiddleDragDistance = 5;
/// A middle press that is held at least as long is no click.
constexpr std::chrono::milliseconds kLongMiddlePress{300};

} // namespace

HotkeyMonitor::HotkeyMonitor(EventTap& eventTap, Callbacks callbacks)
    : eventTap_(eventTap)
    , callbacks_(std::move(callbacks))
{}

void HotkeyMonitor::start()
{
    if (std::exchange(running_, true))
        return;
    ++latestRun_;
    setupEventTap();
}

void HotkeyMonitor::stop()
{
    if (!std::exchange(running_, false))
        return;
    ++latestRun_;
    eventTap_.stop();
}

void HotkeyMonitor::setupEventTap()
{
    const TapInterest interest{keyCode, keyModifiers, quickDrawModifiers, quickDrawMiddleMouseEnabled};
    const int run = latestRun_;
    eventTap_.start(
        interest,
        // A run before this one may have ended amid a gesture. It is over by the time of the first event.
        [self = shared_from_this(), run](TapEventType type, const TapEvent& event) {
            if (std::exchange(self->currentRun_, run) != run)
                self->resetGestures();
            return self->handleEvent(type, event);
        },
        [self = shared_from_this(), run, wasCreated = false](const EventTap::StartReport& report) mutable {
            if (!report.started && !wasCreated) {
                self->printLine(
                    "HotkeyMonitor: Failed to create event tap — Accessibility permission may be missing");
            }
            wasCreated = wasCreated || report.started;
            self->post(run, [report](HotkeyMonitor& monitor) {
                monitor.running_ = report.started;
                if (monitor.onStarted)
                    monitor.onStarted(report);
            });
        });
}

void HotkeyMonitor::resetGestures()
{
    isQuickDrawing_ = false;
    isQuickDrawSuppressed_ = false;
    wereQuickDrawModifiersActive_ = false;
    clearPendingMiddleDown();
}

TapVerdict HotkeyMonitor::handleEvent(TapEventType type, const TapEvent& event)
{
    switch (type) {
    case TapEventType::KeyDown:
        return handleKeyDown(event);
    case TapEventType::FlagsChanged:
        handleFlagsChanged(event);
        return TapVerdict::Pass;
    case TapEventType::LeftMouseDown:
        return handleLeftMouseDown(event);
    case TapEventType::LeftMouseDragged:
        return handleDrag(event);
    case TapEventType::LeftMouseUp:
        // Which button began the stroke is not kept: the left one ends any.
        return handleUp();
    case TapEventType::OtherMouseDown:
        return handleOtherMouseDown(event);
    case TapEventType::OtherMouseDragged:
        return handleOtherMouseDragged(event);
    case TapEventType::OtherMouseUp:
        return handleOtherMouseUp(event);
    }
    return TapVerdict::Pass;
}

TapVerdict HotkeyMonitor::handleKeyDown(const TapEvent& event)
{
    if (event.keyCode == keyCode && (event.flags & kHotkeyMask) == keyModifiers) {
        printLine("[HotkeyMonitor] hotkey matched — consuming event");
        post([](HotkeyMonitor& monitor) { monitor.callbacks_.onActivate(); });
        return TapVerdict::Swallow;
    }
    const QByteArray key = QByteArray::number(event.keyCode);
    // A shortcut that uses the chord's modifiers must not turn the next click into a stroke.
    if (matchesQuickDraw(event.flags)) {
        isQuickDrawSuppressed_ = true;
        updateHintState(false);
        if (printsPassedKeys)
            printLine("[HotkeyMonitor] suppressing quick draw because keyCode=" + key +
                      " used quick-draw modifiers");
    }
    if (printsPassedKeys)
        printLine("[HotkeyMonitor] keyDown passthrough — keyCode=" + key);
    return TapVerdict::Pass;
}

void HotkeyMonitor::handleFlagsChanged(const TapEvent& event)
{
    const bool active = matchesQuickDraw(event.flags);
    if (isQuickDrawSuppressed_) {
        if (!active) {
            isQuickDrawSuppressed_ = false;
            printLine("[HotkeyMonitor] quick draw re-armed after modifier release");
        }
        updateHintState(false);
        return;
    }
    updateHintState(active && !isQuickDrawing_);
}

TapVerdict HotkeyMonitor::handleLeftMouseDown(const TapEvent& event)
{
    if (!matchesQuickDraw(event.flags) || isQuickDrawSuppressed_)
        return TapVerdict::Pass;
    isQuickDrawing_ = true;
    postActivateWithDraw(event.location);
    // After the activation: what the hint covered must not come back for a moment in between.
    updateHintState(false);
    return TapVerdict::Swallow;
}

TapVerdict HotkeyMonitor::handleDrag(const TapEvent& event)
{
    if (!isQuickDrawing_)
        return TapVerdict::Pass;
    post([point = quartzToAppKit(event.location)](HotkeyMonitor& monitor) {
        monitor.callbacks_.onQuickDrawDrag(point);
    });
    return TapVerdict::Swallow;
}

TapVerdict HotkeyMonitor::handleUp()
{
    if (!std::exchange(isQuickDrawing_, false))
        return TapVerdict::Pass;
    post([](HotkeyMonitor& monitor) { monitor.callbacks_.onQuickDrawUp(); });
    return TapVerdict::Swallow;
}

TapVerdict HotkeyMonitor::handleOtherMouseDown(const TapEvent& event)
{
    if (!quickDrawMiddleMouseEnabled || event.buttonNumber != kMiddleButton)
        return TapVerdict::Pass;
    if (event.sourceUserData == kReplayMarker)
        return TapVerdict::Pass;
    pendingMiddleDown_ = true;
    pendingMiddleDownTime_ = event.time;
    pendingMiddleDownOrigin_ = event.location;
    pendingMiddleDownEvent_ = event;
    return TapVerdict::Swallow;
}

TapVerdict HotkeyMonitor::handleOtherMouseDragged(const TapEvent& event)
{
    if (event.buttonNumber != kMiddleButton)
        return TapVerdict::Pass;
    if (!pendingMiddleDown_)
        return handleDrag(event);
    const double dx = event.location.x - pendingMiddleDownOrigin_.x;
    const double dy = event.location.y - pendingMiddleDownOrigin_.y;
    if (dx * dx + dy * dy <= kMiddleDragDistance * kMiddleDragDistance)
        return TapVerdict::Swallow;
    const TopDownPoint origin = pendingMiddleDownOrigin_;
    clearPendingMiddleDown();
    isQuickDrawing_ = true;
    updateHintState(false);
    postActivateWithDraw(origin);
    return TapVerdict::Swallow;
}

TapVerdict HotkeyMonitor::handleOtherMouseUp(const TapEvent& event)
{
    if (event.buttonNumber != kMiddleButton)
        return TapVerdict::Pass;
    if (!pendingMiddleDown_)
        return handleUp();
    const bool isClick = event.time - pendingMiddleDownTime_ < kLongMiddlePress;
    std::optional<TapEvent> press = std::exchange(pendingMiddleDownEvent_, std::nullopt);
    clearPendingMiddleDown();
    if (!isClick) {
        post([](HotkeyMonitor& monitor) { monitor.callbacks_.onActivate(); });
        return TapVerdict::Swallow;
    }
    if (press) {
        press->sourceUserData = kReplayMarker;
        eventTap_.replayPress(*press);
    }
    return TapVerdict::Pass;
}

bool HotkeyMonitor::matchesQuickDraw(quint64 flags) const
{
    return quickDrawModifiers != 0 && (flags & kQuickDrawMask) == quickDrawModifiers;
}

void HotkeyMonitor::clearPendingMiddleDown()
{
    pendingMiddleDown_ = false;
    pendingMiddleDownTime_ = {};
    pendingMiddleDownOrigin_ = {};
    pendingMiddleDownEvent_.reset();
}

void HotkeyMonitor::updateHintState(bool show)
{
    if (std::exchange(wereQuickDrawModifiersActive_, show) == show || !onQuickDrawHint)
        return;
    post([show](HotkeyMonitor& monitor) { monitor.onQuickDrawHint(show); });
}

ScreenPoint HotkeyMonitor::quartzToAppKit(TopDownPoint point) const
{
    return screenPointFromTopDown(point, mainScreenTop_);
}

void HotkeyMonitor::post(std::function<void(HotkeyMonitor&)> call)
{
    post(currentRun_, std::move(call));
}

void HotkeyMonitor::post(int run, std::function<void(HotkeyMonitor&)> call)
{
    async::postToMainLoop([weak = weak_from_this(), run, call = std::move(call)] {
        if (const auto self = weak.lock(); self && self->latestRun_ == run)
            call(*self);
    });
}

void HotkeyMonitor::postActivateWithDraw(TopDownPoint location)
{
    post([point = quartzToAppKit(location)](HotkeyMonitor& monitor) {
        monitor.callbacks_.onActivateWithDraw(point);
    });
}

} // namespace velmo
