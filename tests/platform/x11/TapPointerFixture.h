#pragma once

#include "TapRecorder.h"
#include "support/x11/InputDriver.h"
#include "support/x11/PlainClient.h"

#include <gtest/gtest.h>

namespace velmo::test {

/// A tap that wants every gesture, and a client's window under the pointer.
class X11EventTapPointerTest : public testing::Test {
protected:
    using Type = PlainClient::Event::Type;
    static constexpr int kLeft = 1;
    static constexpr int kMiddle = 2;

    X11EventTapPointerTest()
    {
        interest_.quickDrawModifiers = ModifierFlag::Option | ModifierFlag::Command;
        interest_.middleButton = true;
        input_.moveTo(300, 200);
        client_.takeFocus();
        awaitCondition([this] { return client_.hasFocus(); });
        client_.forgetEvents();
    }

    void start()
    {
        const auto report = tap_.start(interest_);
        ASSERT_TRUE(report.started);
        ASSERT_TRUE(report.problems.isEmpty()) << report.problems.join(u'\n').toStdString();
    }

    void holdChord() { input_.hold({"Alt_L", "Super_L"}); }
    void releaseChord() { input_.letGo({"Alt_L", "Super_L"}); }

    /// A stroke of the left button that has been claimed. Until then the server holds the pointer still,
    /// keeps the last of several motions, and gives what else happens the places of later.
    void beginStroke()
    {
        holdChord();
        input_.pressButton(kLeft);
        input_.moveTo(301, 201);
        ASSERT_TRUE(tap_.await(TapEventType::LeftMouseDragged, 1));
        releaseChord();
    }

    [[nodiscard]] int presses(int button) { return client_.count(Type::ButtonPress, button); }
    [[nodiscard]] int releases(int button) { return client_.count(Type::ButtonRelease, button); }

    /// One key after another way round: what came before it has arrived at the tap and at the client.
    void settle()
    {
        const auto seen = tap_.keyDowns(0).size();
        input_.tap("a");
        ASSERT_TRUE(tap_.awaitKeyDowns(0, seen + 1));
        ASSERT_TRUE(
            awaitCondition([this] { return client_.count(Type::KeyPress, input_.keyCode("a")) > 0; }));
    }

    TapInterest interest_;
    InputDriver input_;
    PlainClient client_{{}};
    TapRecorder tap_;
};

} // namespace velmo::test
