#include "platform/x11/X11Connection.h"
#include "platform/x11/X11WindowSurfaces.h"
#include "support/x11/Await.h"
#include "support/x11/InputDriver.h"

#include <QKeyEvent>
#include <QStringList>
#include <QWidget>
#include <QWindow>
#include <gtest/gtest.h>

namespace velmo::test {
namespace {

constexpr uint32_t kMoment = 123456;

/// Writes down what it learns of its keys.
class KeyLog : public QWidget {
public:
    KeyLog()
        : QWidget(nullptr, Qt::Window | Qt::BypassWindowManagerHint)
    {
        setGeometry(600, 300, 300, 200);
        setFocusPolicy(Qt::StrongFocus);
        show();
        setFocus();
    }

    QStringList events;

private:
    void keyPressEvent(QKeyEvent* event) override { note(QStringLiteral("press"), *event); }
    void keyReleaseEvent(QKeyEvent* event) override { note(QStringLiteral("release"), *event); }
    void note(const QString& what, const QKeyEvent& event)
    {
        // The server repeats held keys at times of its own.
        if (!event.isAutoRepeat())
            events.append(what);
        else if (event.timestamp() == kMoment)
            events.append(what + QStringLiteral(" again"));
    }
};

/// A key that is held, and the server's word about it in pieces, as a busy program reads it.
class X11KeyRepeatsTest : public testing::Test {
protected:
    X11KeyRepeatsTest()
    {
        EXPECT_TRUE(
            awaitCondition([this] { return widget_.windowHandle() && widget_.windowHandle()->isExposed(); }));
        surfaces_.focusWindow(widget_);
        EXPECT_TRUE(awaitCondition([this] { return widget_.hasFocus(); }));
        input_.press("F8");
        EXPECT_TRUE(awaitCondition([this] { return widget_.events.size() == 1; }));
    }
    ~X11KeyRepeatsTest() override { input_.letGo({"F8"}); }

    void tell(uint8_t type, uint32_t time)
    {
        xcb_key_press_event_t event{};
        event.response_type = type;
        event.detail = input_.keyCode("F8");
        event.time = time;
        event.root = connection_->root();
        event.event = static_cast<xcb_window_t>(widget_.winId());
        event.same_screen = 1;
        xcb_send_event(connection_->get(), 0, event.event,
                       type == XCB_KEY_PRESS ? XCB_EVENT_MASK_KEY_PRESS : XCB_EVENT_MASK_KEY_RELEASE,
                       reinterpret_cast<const char*>(&event));
        connection_->sync();
        // Read as a piece of its own.
        constexpr auto kRead = std::chrono::milliseconds(50);
        static_cast<void>(awaitCondition([] { return false; }, kRead));
    }

    std::unique_ptr<X11Connection> connection_ = X11Connection::open();
    X11WindowSurfaces surfaces_;
    KeyLog widget_;
    InputDriver input_;
};

TEST_F(X11KeyRepeatsTest, AReleaseThatIsReadAloneIsNotTheUsers)
{
    tell(XCB_KEY_RELEASE, kMoment);
    EXPECT_EQ(widget_.events, QStringList{QStringLiteral("press")});
    tell(XCB_KEY_PRESS, kMoment);
    EXPECT_EQ(widget_.events, (QStringList{QStringLiteral("press"), QStringLiteral("press again")}));
    input_.letGo({"F8"});
    EXPECT_TRUE(awaitCondition([this] { return widget_.events.last() == QStringLiteral("release"); }));
    EXPECT_EQ(widget_.events.size(), 3);
}

TEST_F(X11KeyRepeatsTest, AKeyThatIsPressedOnceMoreBeforeAnybodyLooksWasLetGo)
{
    constexpr uint32_t kQuickFinger = 60;
    tell(XCB_KEY_RELEASE, kMoment);
    tell(XCB_KEY_PRESS, kMoment + kQuickFinger);
    EXPECT_EQ(widget_.events,
              (QStringList{QStringLiteral("press"), QStringLiteral("release"), QStringLiteral("press")}));
}

} // namespace
} // namespace velmo::test
