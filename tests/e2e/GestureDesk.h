#pragma once

#include "input/HotkeyMonitor.h"
#include "platform/x11/X11EventTap.h"
#include "platform/x11/X11Screens.h"
#include "support/x11/Await.h"
#include "support/x11/InputDriver.h"
#include "support/x11/PlainClient.h"
#include "support/x11/VirtualDisplay.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace velmo::test {

/// A desktop with a window manager, one application that has the keyboard and the pointer over it, and the
/// monitor with its tap. What the monitor calls back and prints is written down.
class GestureDesk : public testing::Test {
protected:
    using Type = PlainClient::Event::Type;
    static constexpr int kLeft = 1;
    static constexpr int kMiddle = 2;
    static constexpr int kHeight = 1080;

    void SetUp() override
    {
        ASSERT_TRUE(display().startWindowManager());
        openClient();
    }
    void TearDown() override
    {
        monitor_->stop();
        monitor_.reset();
        client_.reset();
        display().stopWindowManager();
    }

    void openClient()
    {
        client_ = std::make_unique<PlainClient>(PlainClient::Options{});
        ASSERT_TRUE(awaitCondition([this] { return client_->hasFocus(); }));
        input_.moveTo(kPress.x, kPress.y);
        client_->forgetEvents();
    }

    void startMonitor()
    {
        const X11Screens screens;
        tap_.setScreens(screens.all());
        monitor_->setMainScreenTop(screens.main()->frame.maxY());
        monitor_->onQuickDrawHint = [this](bool shown) { told_.emplace_back(shown ? "hint" : "no hint"); };
        monitor_->onStarted = [this](const EventTap::StartReport& report) { reports_.push_back(report); };
        monitor_->printLine = [this](QByteArrayView line) {
            const std::lock_guard lock(linesMutex_);
            lines_.push_back(line.toByteArray().toStdString());
        };
        const auto before = reports_.size();
        monitor_->start();
        ASSERT_TRUE(awaitCondition([&] { return reports_.size() > before; }));
        ASSERT_TRUE(reports_.back().started);
    }

    void holdChord() { input_.hold({"Alt_L", "Super_L"}); }
    void releaseChord() { input_.letGo({"Alt_L", "Super_L"}); }

    [[nodiscard]] int clientKeys(const char* key)
    {
        return client_->count(Type::KeyPress, input_.keyCode(key));
    }
    [[nodiscard]] int clientKeyReleases(const char* key)
    {
        return client_->count(Type::KeyRelease, input_.keyCode(key));
    }
    [[nodiscard]] int clientPresses(int button) { return client_->count(Type::ButtonPress, button); }
    [[nodiscard]] int clientReleases(int button) { return client_->count(Type::ButtonRelease, button); }

    [[nodiscard]] bool awaitTold(const std::string& callback, std::ptrdiff_t times = 1)
    {
        return awaitCondition([&] { return std::ranges::count(told_, callback) >= times; });
    }

    /// A key after the fact: once monitor and client have it, all before has arrived as well, and what the
    /// monitor posted has run.
    void settle()
    {
        const std::string line = "[HotkeyMonitor] keyDown passthrough — keyCode=46";
        const auto seen = printed(line);
        const int had = clientKeys("m");
        input_.tap("m");
        ASSERT_TRUE(awaitCondition([&] { return printed(line) > seen && clientKeys("m") > had; }));
        QCoreApplication::processEvents();
    }

    /// How often the monitor has printed the line.
    [[nodiscard]] std::ptrdiff_t printed(const std::string& line)
    {
        const std::lock_guard lock(linesMutex_);
        return std::ranges::count(lines_, line);
    }

    [[nodiscard]] std::vector<std::string> lines()
    {
        const std::lock_guard lock(linesMutex_);
        return lines_;
    }

    /// The point of the client's window that the pointer starts from.
    static constexpr PixelPoint kPress{320, 260};

    [[nodiscard]] static std::string at(const char* what, int dx, int dy)
    {
        return std::string(what) + ' ' + std::to_string(kPress.x + dx) + ',' +
               std::to_string(kHeight - kPress.y - dy);
    }

    void moveBy(int dx, int dy) { input_.moveTo(kPress.x + dx, kPress.y + dy); }

    InputDriver input_;
    std::unique_ptr<PlainClient> client_;
    std::vector<std::string> told_;
    std::vector<EventTap::StartReport> reports_;
    X11EventTap tap_;
    std::shared_ptr<HotkeyMonitor> monitor_ = std::make_shared<HotkeyMonitor>(
        tap_, HotkeyMonitor::Callbacks{
                  [this] { told_.emplace_back("activate"); },
                  [this](ScreenPoint point) { told_.push_back(describe("draw", point)); },
                  [this](ScreenPoint point) { told_.push_back(describe("drag", point)); },
                  [this] { told_.emplace_back("up"); },
              });

private:
    static std::string describe(const char* what, ScreenPoint point)
    {
        return std::string(what) + ' ' + std::to_string(static_cast<int>(point.x)) + ',' +
               std::to_string(static_cast<int>(point.y));
    }

    std::mutex linesMutex_;
    std::vector<std::string> lines_;
};

} // namespace velmo::test
