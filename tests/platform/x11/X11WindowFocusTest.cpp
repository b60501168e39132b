#include "platform/x11/X11WindowFocus.h"

#include "support/x11/Await.h"
#include "support/x11/ChildProcess.h"
#include "support/x11/PlainClient.h"
#include "support/x11/VirtualDisplay.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velmo::test {
namespace {

PlainClient::Options program(const char* title, qint32 processID, int x)
{
    PlainClient::Options options;
    options.title = title;
    options.processID = processID;
    options.area = QRect(x, 100, 400, 300);
    return options;
}

class X11WindowFocusTest : public testing::Test {
protected:
    ~X11WindowFocusTest() override { display().stopWindowManager(); }

    [[nodiscard]] bool awaitFrontmost(qint32 processID)
    {
        return awaitCondition([&] {
            const auto application = focus_->frontmostApplication();
            return application && application->processID == processID;
        });
    }

    std::unique_ptr<X11WindowFocus> focus_ = std::make_unique<X11WindowFocus>();
};

TEST_F(X11WindowFocusTest, NamesTheActiveApplicationUnderAWindowManager)
{
    ASSERT_TRUE(display().startWindowManager());
    const PlainClient first(program("first", 4001, 100));
    ASSERT_TRUE(awaitFrontmost(4001));
    const PlainClient second(program("second", 4002, 700));
    ASSERT_TRUE(awaitFrontmost(4002));
    const auto application = focus_->frontmostApplication();
    EXPECT_EQ(application->window, second.window());
    EXPECT_EQ(focus_->focusedWindow(*application), (AccessibilityElement{second.window(), nullptr}));
    EXPECT_FALSE(focus_->focusedElement(*application));
    EXPECT_FALSE(focus_->focusedWindow({4002, 0}));
}

TEST_F(X11WindowFocusTest, FollowsTheInputFocusWithoutAWindowManager)
{
    PlainClient first(program("first", 4001, 100));
    first.takeFocus();
    ASSERT_TRUE(awaitFrontmost(4001));
    EXPECT_EQ(focus_->frontmostApplication()->window, first.window());
    PlainClient second(program("second", 4002, 700));
    focus_->activate(4002, AccessibilityElement{second.window(), nullptr});
    EXPECT_TRUE(awaitCondition([&] { return second.hasFocus(); }));
    EXPECT_EQ(focus_->frontmostApplication()->processID, 4002);
}

TEST_F(X11WindowFocusTest, ReportsEveryOtherWindowThatBecomesActive)
{
    ASSERT_TRUE(display().startWindowManager());
    const PlainClient first(program("first", 4001, 100));
    ASSERT_TRUE(awaitFrontmost(4001));
    std::vector<std::pair<qint32, quint64>> activations;
    focus_->setActivationHandler([&](const RunningApplication& application) {
        activations.emplace_back(application.processID, application.window);
    });
    const PlainClient second(program("second", 4002, 700));
    EXPECT_TRUE(awaitCondition([&] { return activations.size() == 1; }));
    focus_->activate(4001, AccessibilityElement{first.window(), nullptr});
    EXPECT_TRUE(awaitCondition([&] { return activations.size() == 2; }));
    const std::vector<std::pair<qint32, quint64>> expected{{4002, second.window()}, {4001, first.window()}};
    EXPECT_EQ(activations, expected);

    focus_->setActivationHandler({});
    focus_->activate(4002, AccessibilityElement{second.window(), nullptr});
    ASSERT_TRUE(awaitFrontmost(4002));
    EXPECT_EQ(activations, expected);
}

TEST_F(X11WindowFocusTest, ActivatingMovesTheInputFocus)
{
    ASSERT_TRUE(display().startWindowManager());
    PlainClient first(program("first", 4001, 100));
    PlainClient second(program("second", 4002, 300));
    ASSERT_TRUE(awaitFrontmost(4002));
    focus_->activate(4001, AccessibilityElement{first.window(), nullptr});
    EXPECT_TRUE(awaitCondition([&] { return first.hasFocus(); }));
    EXPECT_TRUE(awaitFrontmost(4001));
    // Without a window the process's own is found.
    focus_->activate(4002, std::nullopt);
    EXPECT_TRUE(awaitCondition([&] { return second.hasFocus(); }));
    EXPECT_TRUE(awaitFrontmost(4002));
}

TEST_F(X11WindowFocusTest, GivesTheInputFocusToAWindowAsAnElement)
{
    PlainClient first(program("first", 4001, 100));
    PlainClient second(program("second", 4002, 300));
    second.takeFocus();
    focus_->focusElement({first.window(), nullptr});
    EXPECT_TRUE(first.hasFocus());
}

TEST_F(X11WindowFocusTest, IgnoresAWindowThatIsGone)
{
    ASSERT_TRUE(display().startWindowManager());
    PlainClient first(program("first", 4001, 100));
    ASSERT_TRUE(awaitFrontmost(4001));
    quint64 gone = 0;
    {
        const PlainClient second(program("second", 4002, 700));
        gone = second.window();
        ASSERT_TRUE(awaitFrontmost(4002));
    }
    ASSERT_TRUE(awaitFrontmost(4001));
    focus_->activate(4002, AccessibilityElement{gone, nullptr});
    focus_->activate(4999, std::nullopt);
    focus_->focusElement({gone, nullptr});
    EXPECT_TRUE(first.hasFocus());
    EXPECT_TRUE(focus_->isTrusted());
}

TEST_F(X11WindowFocusTest, BringsAnIconifiedWindowBack)
{
    ASSERT_TRUE(display().startWindowManager());
    PlainClient first(program("first", 4001, 100));
    ASSERT_TRUE(awaitFrontmost(4001));
    auto& connection = first.connection();
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = first.window();
    message.type = connection.atom("WM_CHANGE_STATE");
    message.data.data32[0] = 3;
    xcb_send_event(connection.get(), 0, connection.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    connection.sync();
    ASSERT_TRUE(awaitCondition([&] { return !first.hasFocus(); }));
    focus_->activate(4001, AccessibilityElement{first.window(), nullptr});
    EXPECT_TRUE(awaitCondition([&] { return first.hasFocus(); }));
}

TEST_F(X11WindowFocusTest, KnowsWhichProcessesRun)
{
    EXPECT_TRUE(focus_->isRunning(getpid()));
    EXPECT_TRUE(focus_->isRunning(1)) << "another user's process";
    EXPECT_FALSE(focus_->isRunning(0));
    EXPECT_FALSE(focus_->isRunning(-5));
    ChildProcess child({"sleep", "1000"});
    const pid_t pid = child.processID();
    EXPECT_TRUE(focus_->isRunning(pid));
    kill(pid, SIGKILL);
    // Not waited for, the child stays as a remnant that can still be signalled.
    EXPECT_TRUE(awaitCondition([&] { return !focus_->isRunning(pid); }));
    EXPECT_EQ(kill(pid, 0), 0);
    child.stop();
    EXPECT_FALSE(focus_->isRunning(pid));
}

TEST_F(X11WindowFocusTest, DoesNothingWithoutADisplay)
{
    const QByteArray before = qgetenv("DISPLAY");
    qputenv("DISPLAY", ":65000");
    X11WindowFocus blind;
    qputenv("DISPLAY", before);
    EXPECT_FALSE(blind.isTrusted());
    EXPECT_FALSE(blind.frontmostApplication());
    blind.setActivationHandler([](const RunningApplication&) { FAIL(); });
    blind.activate(1, AccessibilityElement{5, nullptr});
}

} // namespace
} // namespace velmo::test
