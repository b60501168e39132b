#pragma once

#include "fakes/FakeEventTap.h"
#include "input/HotkeyMonitor.h"
#include "support/core/EventLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

namespace velmo {

/// The monitor between input that the test makes and callbacks that are written down. No display.
///
/// The main screen is 1000 points high, so a location (x, y) of an event becomes the point (x, 1000 − y).
class GestureTest : public testing::Test {
protected:
    static constexpr quint64 kShift = ModifierFlag::Shift;
    static constexpr quint64 kControl = ModifierFlag::Control;
    static constexpr quint64 kOption = ModifierFlag::Option;
    static constexpr quint64 kCommand = ModifierFlag::Command;
    static constexpr quint64 kFunction = ModifierFlag::Function;
    static constexpr quint64 kChord = kOption | kCommand;
    static constexpr quint64 kHotkeyModifiers = kControl | kOption;
    static constexpr int kSpace = 49;
    static constexpr int kLetterV = 9;
    static constexpr TapVerdict kPass = TapVerdict::Pass;
    static constexpr TapVerdict kSwallow = TapVerdict::Swallow;

    GestureTest()
    {
        monitor->setMainScreenTop(1000);
        monitor->printLine = [this](QByteArrayView line) {
            lines.push_back(line.toByteArray().toStdString());
        };
        monitor->onQuickDrawHint = [this](bool shown) { told.push_back(shown ? "hint" : "no hint"); };
        monitor->onStarted = [this](const EventTap::StartReport& report) { reports.push_back(report); };
    }
    ~GestureTest() override { monitor->stop(); }

    void start()
    {
        monitor->start();
        settle();
    }

    TapVerdict key(int keyCode, quint64 flags = 0)
    {
        TapEvent event;
        event.keyCode = keyCode;
        event.flags = flags;
        return tap.input(TapEventType::KeyDown, event);
    }
    TapVerdict flags(quint64 flags)
    {
        TapEvent event;
        event.flags = flags;
        return tap.input(TapEventType::FlagsChanged, event);
    }
    TapVerdict left(TapEventType type, TopDownPoint location, quint64 flags = 0)
    {
        TapEvent event;
        event.location = location;
        event.flags = flags;
        return tap.input(type, event);
    }
    TapVerdict leftDown(TopDownPoint at, quint64 flags)
    {
        return left(TapEventType::LeftMouseDown, at, flags);
    }
    TapVerdict leftDrag(TopDownPoint to) { return left(TapEventType::LeftMouseDragged, to); }
    TapVerdict leftUp() { return left(TapEventType::LeftMouseUp, {}); }

    TapVerdict middle(TapEventType type, TopDownPoint location, int time)
    {
        TapEvent event;
        event.location = location;
        event.time = std::chrono::milliseconds(time);
        event.buttonNumber = button;
        return tap.input(type, event);
    }
    TapVerdict middleDown(TopDownPoint at, int time = 0)
    {
        return middle(TapEventType::OtherMouseDown, at, time);
    }
    TapVerdict middleDrag(TopDownPoint to, int time = 100)
    {
        return middle(TapEventType::OtherMouseDragged, to, time);
    }
    TapVerdict middleUp(int time = 100) { return middle(TapEventType::OtherMouseUp, {}, time); }

    /// The callbacks that have come since the last look, in order.
    std::vector<std::string> callbacks()
    {
        settle();
        return std::exchange(told, {});
    }

    /// What was printed since the last look.
    std::vector<std::string> printed() { return std::exchange(lines, {}); }

    static std::string at(ScreenPoint point)
    {
        return " " + std::to_string(static_cast<int>(point.x)) + "," +
               std::to_string(static_cast<int>(point.y));
    }

    std::vector<std::string> told;
    std::vector<std::string> lines;
    std::vector<EventTap::StartReport> reports;
    int button = kMiddleButton;
    FakeEventTap tap;
    std::shared_ptr<HotkeyMonitor> monitor = std::make_shared<HotkeyMonitor>(
        tap, HotkeyMonitor::Callbacks{
                 [this] { told.push_back("activate"); },
                 [this](ScreenPoint point) { told.push_back("draw" + at(point)); },
                 [this](ScreenPoint point) { told.push_back("drag" + at(point)); },
                 [this] { told.push_back("up"); },
             });
};

} // namespace velmo
