#include "platform/x11/X11WindowSurfaces.h"

#include "platform/x11/X11Platform.h"
#include "support/x11/Await.h"
#include "support/x11/InputDriver.h"
#include "support/x11/PlainClient.h"
#include "support/x11/VirtualDisplay.h"

#include <QKeyEvent>
#include <QWidget>
#include <QWindow>
#include <atomic>
#include <gtest/gtest.h>

namespace velmo::test {
namespace {

/// A window that takes no focus by itself and remembers the keys that it gets.
class KeyWidget : public QWidget {
public:
    KeyWidget()
        : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::BypassWindowManagerHint)
    {
        setAttribute(Qt::WA_ShowWithoutActivating);
        setGeometry(600, 300, 300, 200);
        setFocusPolicy(Qt::StrongFocus);
        show();
        awaitCondition([this] { return isExposed(); });
    }

    QList<int> keys;

private:
    [[nodiscard]] bool isExposed() const { return windowHandle() != nullptr && windowHandle()->isExposed(); }
    void keyPressEvent(QKeyEvent* event) override { keys.append(event->key()); }
};

class X11WindowSurfacesTest : public testing::Test {
protected:
    X11WindowSurfacesTest()
    {
        client_.takeFocus();
        EXPECT_TRUE(awaitCondition([this] { return client_.hasFocus(); }));
    }

    InputDriver input_;
    PlainClient client_{{}};
    X11WindowSurfaces surfaces_;
};

TEST_F(X11WindowSurfacesTest, KnowsWhetherACompositorRuns)
{
    EXPECT_FALSE(surfaces_.isComposited());
    ASSERT_TRUE(display().startCompositor());
    EXPECT_TRUE(surfaces_.isComposited());
    display().stopCompositor();
    EXPECT_TRUE(awaitCondition([this] { return !surfaces_.isComposited(); }));
}

TEST_F(X11WindowSurfacesTest, TakesTheKeyboardWithoutTheFocus)
{
    QList<bool> told;
    surfaces_.setKeyboardObserver([&](bool held) { told.append(held); });
    KeyWidget widget;
    ASSERT_TRUE(surfaces_.grabKeyboard(widget));
    input_.tap("Escape");
    input_.tap("q");
    EXPECT_TRUE(awaitCondition([&] { return widget.keys == QList<int>{Qt::Key_Escape, Qt::Key_Q}; }));
    EXPECT_TRUE(client_.hasFocus());
    EXPECT_EQ(client_.count(PlainClient::Event::Type::KeyPress, input_.keyCode("Escape")), 0);

    surfaces_.releaseKeyboard(widget);
    EXPECT_TRUE(awaitCondition([&] {
        input_.tap("w");
        return client_.count(PlainClient::Event::Type::KeyPress, input_.keyCode("w")) > 0;
    }));
    EXPECT_EQ(widget.keys.count(Qt::Key_W), 0);
    EXPECT_EQ(told, (QList<bool>{true, false}));
}

TEST_F(X11WindowSurfacesTest, DoesNotTakeTheKeyboardFromAnotherProgram)
{
    KeyWidget widget;
    auto& holder = client_.connection();
    const auto grab = holder.await(xcb_grab_keyboard_reply,
                                   xcb_grab_keyboard(holder.get(), 0, client_.window(), XCB_CURRENT_TIME,
                                                     XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    ASSERT_TRUE(grab && grab->status == XCB_GRAB_STATUS_SUCCESS);
    EXPECT_FALSE(surfaces_.grabKeyboard(widget));
    EXPECT_EQ(QWidget::keyboardGrabber(), nullptr);
    xcb_ungrab_keyboard(holder.get(), XCB_CURRENT_TIME);
    holder.sync();
    EXPECT_TRUE(surfaces_.grabKeyboard(widget));
    surfaces_.releaseKeyboard(widget);
}

TEST_F(X11WindowSurfacesTest, MovesTheInputFocus)
{
    KeyWidget widget;
    surfaces_.focusWindow(widget);
    EXPECT_TRUE(awaitCondition([&] { return widget.isActiveWindow(); }));
    EXPECT_FALSE(client_.hasFocus());
    widget.setFocus();
    input_.tap("x");
    EXPECT_TRUE(awaitCondition([&] { return widget.keys == QList<int>{Qt::Key_X}; }));
}

TEST_F(X11WindowSurfacesTest, IgnoresAFocusRequestForAHiddenWindow)
{
    KeyWidget widget;
    widget.hide();
    surfaces_.focusWindow(widget);
    EXPECT_TRUE(client_.hasFocus());
    EXPECT_FALSE(surfaces_.grabKeyboard(widget));
}

TEST_F(X11WindowSurfacesTest, TheHotkeyStillWorksWhileOurWindowHoldsTheKeyboard)
{
    auto platform = X11Platform::create();
    std::atomic<int> presses = 0;
    std::atomic<bool> started = false;
    platform.eventTap->start(
        {},
        [&](TapEventType, const TapEvent& event) {
            presses += event.keyCode == 49 ? 1 : 0;
            return TapVerdict::Pass;
        },
        [&](const EventTap::StartReport& report) { started = report.started; });
    ASSERT_TRUE(awaitCondition([&] { return started.load(); }));
    KeyWidget widget;
    ASSERT_TRUE(platform.windowSurfaces->grabKeyboard(widget));
    input_.chord({"Control_L", "Alt_L", "space"});
    EXPECT_TRUE(awaitCondition([&] { return presses == 1; }));
    platform.windowSurfaces->releaseKeyboard(widget);
    input_.tap("z");
    EXPECT_TRUE(awaitCondition(
        [this] { return client_.count(PlainClient::Event::Type::KeyPress, input_.keyCode("z")) > 0; }));
    EXPECT_EQ(presses, 1);
    platform.eventTap.reset();
}

} // namespace
} // namespace velmo::test
