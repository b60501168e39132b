#include "input/HotkeyMonitor.h"

#include "core/Console.h"
#include "core/async/MainLoop.h"

#include <utility>

namespace velmo {

namespace {

/// The modifiers that make a hotkey what it is.
constexpr quint64 kHotkeyMask =
    ModifierFlag::Shift | ModifierFlag::Control | ModifierFlag::Option | ModifierFlag::Command;

} // namespace

/// What lives on the tap's thread. The tap may ask it once more after stop() has returned, so it owns all it
/// needs.
class HotkeyMonitor::Recogniser {
public:
    Recogniser(const HotkeyMonitor& monitor, std::function<void()> postActivate)
        : keyCode_(monitor.keyCode)
        , keyModifiers_(monitor.keyModifiers)
        , postActivate_(std::move(postActivate))
    {}

    [[nodiscard]] TapVerdict handleEvent(const TapEvent& event) const
    {
        switch (event.type) {
        case TapEvent::Type::KeyDown:
            return handleKeyDown(event);
        case TapEvent::Type::FlagsChanged:
            return TapVerdict::Pass;
        }
        return TapVerdict::Pass;
    }

private:
    [[nodiscard]] TapVerdict handleKeyDown(const TapEvent& event) const
    {
        if (event.keyCode != keyCode_ || (event.flags & kHotkeyMask) != keyModifiers_)
            return TapVerdict::Pass;
        Console::printLine("[HotkeyMonitor] hotkey matched — consuming event");
        postActivate_();
        return TapVerdict::Swallow;
    }

    int keyCode_;
    quint64 keyModifiers_;
    std::function<void()> postActivate_;
};

HotkeyMonitor::HotkeyMonitor(EventTap& tap, std::function<void()> onActivate)
    : tap_(tap)
    , onActivate_(std::move(onActivate))
    , self_(std::make_shared<HotkeyMonitor*>(this))
{}

HotkeyMonitor::~HotkeyMonitor()
{
    stop();
    *self_ = nullptr;
}

void HotkeyMonitor::start()
{
    if (std::exchange(running_, true))
        return;
    const auto recogniser = std::make_shared<Recogniser>(*this, [self = self_] {
        async::postToMainLoop([self] {
            if (*self)
                (*self)->onActivate_();
        });
    });
    tap_.start(
        {keyCode, keyModifiers},
        [recogniser](const TapEvent& event) { return recogniser->handleEvent(event); },
        [self = self_](const EventTap::StartReport& report) {
            async::postToMainLoop([self, report] {
                if (*self && (*self)->onStarted)
                    (*self)->onStarted(report);
            });
        });
}

void HotkeyMonitor::stop()
{
    if (std::exchange(running_, false))
        tap_.stop();
}

} // namespace velmo
