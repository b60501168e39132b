#include "AtSpiFocusScene.h"

#include <QProcess>
#include <unistd.h>

namespace velmo::test {
namespace {

/// Much longer than a lookup may take, so that only hanging fails.
constexpr qint64 kFarTooLong = 1000;

class AtSpiFocusTest : public AtSpiFocusScene, public testing::WithParamInterface<FieldsProgram::Toolkit> {
protected:
    AtSpiFocusTest() { EXPECT_TRUE(buses_.startAccessibility()); }
};

INSTANTIATE_TEST_SUITE_P(Toolkits, AtSpiFocusTest,
                         testing::Values(FieldsProgram::Toolkit::Gtk, FieldsProgram::Toolkit::Qt),
                         toolkitName);

TEST_P(AtSpiFocusTest, ReturnsToTheFieldThatAnEventToldOf)
{
    listen();
    const auto program = start(GetParam());
    FocusRestorationTarget target;
    ASSERT_TRUE(captureTold(*program, "two", target));

    const auto other = distract();
    ASSERT_TRUE(program->order("focus one"));
    program->forgetFocused();
    target.restore(*focus_);
    EXPECT_TRUE(awaitFrontmost(program->processID()));
    expectTypingInto(*program, "two");
    EXPECT_EQ(program->text("one"), "");
}

/// Some fields select all of their text when they are asked to take the focus, and the next key replaces it.
TEST_P(AtSpiFocusTest, AsksNothingOfAFieldThatHasTheFocusAgain)
{
    listen();
    const auto program = start(GetParam());
    FocusRestorationTarget target;
    ASSERT_TRUE(captureTold(*program, "two", target));
    expectTypingInto(*program, "two");
    const auto other = distract();
    target.restore(*focus_);
    ASSERT_TRUE(awaitFrontmost(program->processID()));
    ASSERT_TRUE(awaitCondition([&] { return !other->hasFocus(); }));
    awaitEndOfRequests();
    expectTypingInto(*program, "two");

    // A session that makes sure of it is no different.
    target.restore(*focus_);
    awaitEndOfRequests();
    expectTypingInto(*program, "two");
    EXPECT_EQ(program->text("two"), "ababab");
}

TEST_P(AtSpiFocusTest, ReturnsToTheFieldThatHadTheFocusBeforeItListened)
{
    const auto program = start(GetParam());
    ASSERT_TRUE(giveFocus(*program, "two"));
    FocusRestorationTarget target;
    ASSERT_TRUE(captureSought(*program, target));

    const auto other = distract();
    ASSERT_TRUE(program->order("focus one"));
    program->forgetFocused();
    target.restore(*focus_);
    expectTypingInto(*program, "two");
    EXPECT_EQ(program->text("one"), "");
}

TEST_P(AtSpiFocusTest, KeepsToTheFieldOfTheMomentItWasAskedFor)
{
    listen();
    const auto program = start(GetParam());
    FocusRestorationTarget first;
    ASSERT_TRUE(captureTold(*program, "two", first));
    ASSERT_TRUE(giveFocus(*program, "one"));
    const auto second = capture();
    ASSERT_EQ(awaitFinding(second), FocusFinding::Told);

    const auto other = distract();
    program->forgetFocused();
    first.restore(*focus_);
    expectTypingInto(*program, "two");
    // The window manager may still be carrying out the restoration, and would undo a single request.
    ASSERT_TRUE(awaitCondition([&] {
        other->takeFocus();
        const auto application = focus_->frontmostApplication();
        return application && application->processID == kOther;
    }));
    program->forgetFocused();
    second.restore(*focus_);
    expectTypingInto(*program, "one");
}

TEST_P(AtSpiFocusTest, ReturnsToAFieldOfAnIconifiedWindow)
{
    listen();
    const auto program = start(GetParam());
    FocusRestorationTarget target;
    ASSERT_TRUE(captureTold(*program, "two", target));

    const auto other = distract();
    // On a busy machine a window may need longer to come back than a field is waited for.
    constexpr int kAttempts = 5;
    constexpr std::chrono::milliseconds kPatience{2000};
    bool isBack = false;
    for (int attempt = 0; attempt < kAttempts && !isBack; ++attempt) {
        ASSERT_TRUE(program->order("focus one"));
        ASSERT_TRUE(program->order("iconify"));
        program->forgetFocused();
        target.restore(*focus_);
        isBack = awaitCondition([&] { return program->focused() == "two"; }, kPatience);
    }
    expectTypingInto(*program, "two");
    EXPECT_EQ(program->text("one"), "");
}

/// The hotkey is one such moment, drawing another: toolkits may regard a grab as a loss of the focus.
TEST_P(AtSpiFocusTest, KnowsTheFieldWhileTheKeyboardIsGrabbed)
{
    listen();
    const auto program = start(GetParam());
    FocusRestorationTarget target;
    ASSERT_TRUE(captureTold(*program, "two", target));

    const auto grabber = X11Connection::open();
    const auto grab = grabber->await(xcb_grab_keyboard_reply,
                                     xcb_grab_keyboard(grabber->get(), 0, grabber->root(), XCB_CURRENT_TIME,
                                                       XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    ASSERT_TRUE(grab && grab->status == XCB_GRAB_STATUS_SUCCESS);
    // The program has heard of the grab when it has carried out an order that came after.
    ASSERT_TRUE(program->order("labels 0"));
    target = capture();
    EXPECT_EQ(awaitFinding(target), FocusFinding::Told);
    xcb_ungrab_keyboard(grabber->get(), XCB_CURRENT_TIME);
    grabber->sync();

    const auto other = distract();
    ASSERT_TRUE(program->order("focus one"));
    program->forgetFocused();
    target.restore(*focus_);
    expectTypingInto(*program, "two");
}

TEST_P(AtSpiFocusTest, SearchesALargeWindowInTime)
{
    const auto program = start(GetParam());
    ASSERT_TRUE(program->order("labels 300"));
    ASSERT_TRUE(giveFocus(*program, "two"));
    FocusRestorationTarget target;
    EXPECT_TRUE(captureSought(*program, target));
}

TEST_P(AtSpiFocusTest, SurvivesAWindowThatIsGone)
{
    listen();
    const auto program = start(GetParam());
    FocusRestorationTarget target;
    ASSERT_TRUE(captureTold(*program, "two", target));

    ASSERT_TRUE(program->order("replace"));
    EXPECT_TRUE(awaitCondition([&] { return program->focused() == "three"; }));
    target.restore(*focus_);
    expectTypingInto(*program, "three");
}

TEST_P(AtSpiFocusTest, SurvivesAProgramThatHasEnded)
{
    listen();
    auto program = start(GetParam());
    FocusRestorationTarget target;
    ASSERT_TRUE(captureTold(*program, "two", target));
    program.reset();
    target.restore(*focus_);
    focus_->focusElement(*target.focusedElement);
    EXPECT_EQ(awaitFinding(target), FocusFinding::Told) << "what was found does not change";

    program = start(GetParam());
    ASSERT_TRUE(captureTold(*program, "one", target));
    ASSERT_TRUE(program->order("focus two"));
    program->forgetFocused();
    focus_->focusElement(*target.focusedElement);
    expectTypingInto(*program, "one");
}

TEST_P(AtSpiFocusTest, FindsNothingWhereNobodySpeaksOfElements)
{
    listen();
    const auto program = start(GetParam());
    FocusRestorationTarget target;
    ASSERT_TRUE(captureTold(*program, "two", target));

    const auto other = distract();
    target = capture();
    ASSERT_TRUE(target.focusedElement);
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(awaitFinding(target), FocusFinding::Nothing);
    EXPECT_GE(timer.elapsed(), 140) << "it may still appear until then";
    EXPECT_LT(timer.elapsed(), kFarTooLong);
    target.restore(*focus_);
    EXPECT_TRUE(awaitCondition([&] { return other->hasFocus(); }));
}

TEST_P(AtSpiFocusTest, OwnWindowsHaveNoElements)
{
    listen();
    EXPECT_FALSE(focus_->focusedElement({getpid(), 5}));
    EXPECT_FALSE(focus_->focusedElement({0, 5}));
    EXPECT_FALSE(FocusRestorationTarget::capture({getpid(), 5}, *focus_));
}

TEST_P(AtSpiFocusTest, SwitchesNothingOn)
{
    listen();
    const auto program = start(GetParam());
    FocusRestorationTarget target;
    ASSERT_TRUE(captureTold(*program, "two", target));
    QProcess ask;
    ask.start(QStringLiteral("dbus-send"),
              {QStringLiteral("--bus=") + QString::fromUtf8(buses_.sessionAddress()),
               QStringLiteral("--print-reply"), QStringLiteral("--dest=org.a11y.Bus"),
               QStringLiteral("/org/a11y/bus"), QStringLiteral("org.freedesktop.DBus.Properties.Get"),
               QStringLiteral("string:org.a11y.Status"), QStringLiteral("string:IsEnabled")});
    ASSERT_TRUE(ask.waitForFinished());
    EXPECT_TRUE(ask.readAllStandardOutput().contains("boolean false"));
}

} // namespace
} // namespace velmo::test
