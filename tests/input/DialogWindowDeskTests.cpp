#include "platform/x11/X11Connection.h"
#include "platform/x11/X11WindowSurfaces.h"
#include "support/x11/Await.h"
#include "support/x11/DesktopSwitch.h"
#include "support/x11/InputDriver.h"
#include "support/x11/PlainClient.h"
#include "support/x11/VirtualDisplay.h"
#include "widgets/DialogWindow.h"

#include <QElapsedTimer>
#include <QLineEdit>
#include <QVBoxLayout>
#include <algorithm>
#include <gtest/gtest.h>
#include <span>
#include <xcb/shape.h>

namespace velmo::test {
namespace {

/// A window of ours that the user asks for, on a desktop of any window manager.
class DialogWindowDesk : public testing::TestWithParam<QString> {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(display().startWindowManager(GetParam(), FocusPolicy::Click));
        DialogWindow::prepare(window_, QStringLiteral("Dialog"), QSize(400, 300));
    }
    void TearDown() override
    {
        window_.close();
        display().stopWindowManager();
    }

    [[nodiscard]] bool hasKeyboard(const QWidget& widget) const
    {
        const auto reply = eye_->await(xcb_get_input_focus_reply, xcb_get_input_focus(eye_->get()));
        return reply && reply->focus == widget.internalWinId();
    }

    /// Of the root's child that the window is in, from the bottom.
    [[nodiscard]] std::ptrdiff_t level(xcb_window_t window) const
    {
        for (;;) {
            const auto tree = eye_->await(xcb_query_tree_reply, xcb_query_tree(eye_->get(), window));
            if (!tree)
                return -1;
            if (tree->parent == eye_->root())
                break;
            window = tree->parent;
        }
        const auto all = eye_->await(xcb_query_tree_reply, xcb_query_tree(eye_->get(), eye_->root()));
        const auto* first = xcb_query_tree_children(all.get());
        return std::find(first, first + xcb_query_tree_children_length(all.get()), window) - first;
    }
    [[nodiscard]] std::ptrdiff_t level(const QWidget& widget) const
    {
        return level(static_cast<xcb_window_t>(widget.internalWinId()));
    }

    /// Above it, or seen and clicked through it: everywhere the dialog is what is under the pointer.
    [[nodiscard]] bool isInFrontOf(const QWidget& dialog, const QWidget& floating) const
    {
        const QRect shared = dialog.geometry() & floating.geometry();
        const auto isOurs = [this, &dialog](QPoint point) {
            xcb_window_t window = eye_->root();
            while (window != XCB_NONE && window != dialog.internalWinId()) {
                const auto child = eye_->await(xcb_translate_coordinates_reply,
                                               xcb_translate_coordinates(eye_->get(), eye_->root(), window,
                                                                         static_cast<int16_t>(point.x()),
                                                                         static_cast<int16_t>(point.y())));
                window = child ? child->child : xcb_window_t{XCB_NONE};
            }
            return window != XCB_NONE;
        };
        return !shared.isEmpty() && isOurs(shared.topLeft()) && isOurs(shared.bottomRight()) &&
               isOurs(shared.center());
    }

    [[nodiscard]] QList<xcb_atom_t> states() const
    {
        const auto found = readNumbers(eye_->get(), static_cast<xcb_window_t>(window_.internalWinId()),
                                       eye_->atom("_NET_WM_STATE"));
        return {found.begin(), found.end()};
    }

    [[nodiscard]] quint32 currentDesktop() const
    {
        return readNumber(eye_->get(), eye_->root(), eye_->atom("_NET_CURRENT_DESKTOP"));
    }

    void switchTo(quint32 desktop)
    {
        askForDesktop(*eye_, desktop);
        ASSERT_TRUE(awaitCondition([&] { return currentDesktop() == desktop; }));
    }

    [[nodiscard]] bool isViewable() const
    {
        const auto reply = eye_->await(
            xcb_get_window_attributes_reply,
            xcb_get_window_attributes(eye_->get(), static_cast<xcb_window_t>(window_.internalWinId())));
        return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
    }

    /// Window managers move windows and the focus in steps, and our windows look after their own for a while.
    template <typename Condition>
    [[nodiscard]] static bool awaitLasting(Condition condition)
    {
        constexpr qint64 kLasting = 500;
        QElapsedTimer since;
        since.start();
        return awaitCondition([&] {
            if (!condition())
                since.restart();
            return since.elapsed() > kLasting;
        });
    }

    std::unique_ptr<X11Connection> eye_ = X11Connection::open();
    X11WindowSurfaces surfaces_;
    InputDriver input_;
    QWidget window_;
};

/// One of our floating windows, in the middle of the screen.
class Floating final : public QWidget {
public:
    Floating()
        : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::BypassWindowManagerHint)
    {
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(field = new QLineEdit);
        setGeometry(600, 300, 700, 500);
        show();
        field->setFocus();
    }
    QLineEdit* field;
};

TEST_P(DialogWindowDesk, ComesBackInFrontOfAnotherApplication)
{
    DialogWindow::bringToFront(window_, surfaces_);
    ASSERT_TRUE(awaitCondition([this] { return hasKeyboard(window_); }));
    PlainClient::Options options;
    options.area = {600, 250, 700, 600};
    PlainClient other(options);
    // The user works there, so that what we know of the time is old.
    QElapsedTimer sinceClick;
    ASSERT_TRUE(awaitCondition([&] {
        if (!sinceClick.isValid() || sinceClick.elapsed() > 400) {
            input_.moveTo(950, 750);
            input_.click(1);
            sinceClick.start();
        }
        return other.hasFocus() && level(other.window()) > level(window_);
    }));
    DialogWindow::bringToFront(window_, surfaces_);
    EXPECT_TRUE(
        awaitCondition([&] { return hasKeyboard(window_) && level(window_) > level(other.window()); }));
}

TEST_P(DialogWindowDesk, ComesFromAnotherDesktop)
{
    if (readNumber(eye_->get(), eye_->root(), eye_->atom("_NET_NUMBER_OF_DESKTOPS")) < 2)
        GTEST_SKIP() << "there is one desktop alone";
    DialogWindow::bringToFront(window_, surfaces_);
    ASSERT_TRUE(awaitCondition([this] { return hasKeyboard(window_); }));
    switchTo(1);
    ASSERT_TRUE(awaitCondition([this] { return !isViewable() && !hasKeyboard(window_); }));
    // The user works there with another application, and has a floating window of ours.
    const PlainClient::Options options;
    const PlainClient other(options);
    Floating floating;
    const auto kept = surfaces_.keepFocus(floating);
    ASSERT_TRUE(awaitCondition([&] { return hasKeyboard(floating); }));
    DialogWindow::bringToFront(window_, surfaces_);
    EXPECT_TRUE(awaitLasting([&] {
        return isViewable() && hasKeyboard(window_) && level(window_) > level(other.window()) &&
               isInFrontOf(window_, floating);
    })) << "shown: "
        << isViewable() << ", keyboard: " << hasKeyboard(window_)
        << ", in front: " << isInFrontOf(window_, floating);
    EXPECT_EQ(currentDesktop(), 1U);
    window_.close();
    switchTo(0);
}

TEST_P(DialogWindowDesk, IsAskedForWithATimeOfNow)
{
    DialogWindow::bringToFront(window_, surfaces_);
    ASSERT_TRUE(awaitCondition([this] { return hasKeyboard(window_); }));
    const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(eye_->get(), eye_->root(), XCB_CW_EVENT_MASK, &mask);
    const xcb_timestamp_t before = eye_->serverTime();
    DialogWindow::bringToFront(window_, surfaces_);
    const auto isRequest = [&](const xcb_generic_event_t& event) {
        const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(event);
        return (event.response_type & 0x7f) == XCB_CLIENT_MESSAGE &&
               message.type == eye_->atom("_NET_ACTIVE_WINDOW") &&
               message.window == window_.internalWinId() && message.data.data32[0] == 2 &&
               message.data.data32[1] >= before;
    };
    EXPECT_TRUE(awaitCondition([&] {
        while (const auto event = eye_->nextEvent()) {
            if (isRequest(*event))
                return true;
        }
        return false;
    }));
}

TEST_P(DialogWindowDesk, IsAboveOurFloatingWindowsAndGivesTheKeyboardBackToThem)
{
    Floating floating;
    const auto kept = surfaces_.keepFocus(floating);
    ASSERT_TRUE(awaitCondition([&] { return hasKeyboard(floating); }));
    DialogWindow::bringToFront(window_, surfaces_);
    EXPECT_TRUE(awaitLasting([&] { return hasKeyboard(window_) && isInFrontOf(window_, floating); }));
    // Wherever the user moves it.
    const QPoint place = window_.pos();
    window_.move(place + QPoint(70, -50));
    EXPECT_TRUE(awaitLasting([&] { return window_.pos() != place && isInFrontOf(window_, floating); }));
    window_.close();
    EXPECT_TRUE(awaitCondition([&] { return hasKeyboard(floating); }));
    const auto shape = eye_->await(
        xcb_shape_query_extents_reply,
        xcb_shape_query_extents(eye_->get(), static_cast<xcb_window_t>(floating.internalWinId())));
    ASSERT_TRUE(shape);
    EXPECT_EQ(shape->bounding_shaped, 0) << "nothing of it stays cut out";
}

TEST_P(DialogWindowDesk, KeepsTheKeyboardAfterAnotherOneInItsPlace)
{
    Floating floating;
    const auto kept = surfaces_.keepFocus(floating);
    ASSERT_TRUE(awaitCondition([&] { return hasKeyboard(floating); }));
    QWidget former;
    DialogWindow::prepare(former, QStringLiteral("Former"), QSize(400, 300));
    DialogWindow::bringToFront(former, surfaces_);
    ASSERT_TRUE(awaitCondition([&] { return hasKeyboard(former) && isInFrontOf(former, floating); }));
    former.close();
    DialogWindow::bringToFront(window_, surfaces_);
    EXPECT_TRUE(awaitLasting([this] { return hasKeyboard(window_); }));
}

TEST_P(DialogWindowDesk, StandsAboveOneThatWasThereBefore)
{
    Floating floating;
    QWidget former;
    DialogWindow::prepare(former, QStringLiteral("Former"), QSize(600, 500));
    DialogWindow::bringToFront(former, surfaces_);
    ASSERT_TRUE(awaitCondition([&] { return hasKeyboard(former) && isInFrontOf(former, floating); }));
    DialogWindow::bringToFront(window_, surfaces_);
    ASSERT_TRUE(awaitCondition([&] { return hasKeyboard(window_) && level(window_) > level(former); }));
    window_.close();
    EXPECT_TRUE(awaitCondition([&] { return isInFrontOf(former, floating); }));
    former.close();
}

TEST_P(DialogWindowDesk, IsInNoListOfWindows)
{
    DialogWindow::bringToFront(window_, surfaces_);
    const auto isUnlisted = [this] {
        return states().contains(eye_->atom("_NET_WM_STATE_SKIP_TASKBAR")) &&
               states().contains(eye_->atom("_NET_WM_STATE_SKIP_PAGER"));
    };
    ASSERT_TRUE(awaitCondition([this] { return hasKeyboard(window_); }));
    EXPECT_TRUE(awaitCondition(isUnlisted));
    // Window managers forget what they were told of a window that is not shown.
    window_.close();
    EXPECT_TRUE(awaitCondition([&] { return !hasKeyboard(window_); }));
    DialogWindow::bringToFront(window_, surfaces_);
    ASSERT_TRUE(awaitCondition([this] { return hasKeyboard(window_); }));
    EXPECT_TRUE(awaitCondition(isUnlisted));
}

TEST_P(DialogWindowDesk, HasTheProgramsIcon)
{
    DialogWindow::bringToFront(window_, surfaces_);
    constexpr uint32_t kLength = 1U << 20U;
    const auto reply =
        eye_->await(xcb_get_property_reply,
                    xcb_get_property(eye_->get(), 0, static_cast<xcb_window_t>(window_.internalWinId()),
                                     eye_->atom("_NET_WM_ICON"), XCB_ATOM_CARDINAL, 0, kLength));
    ASSERT_TRUE(reply);
    const std::span icons(static_cast<const quint32*>(xcb_get_property_value(reply.get())),
                          static_cast<std::size_t>(xcb_get_property_value_length(reply.get())) / 4);
    // Each has its width and height before its pixels.
    std::vector<quint32> sizes;
    for (std::size_t at = 0; at + 1 < icons.size(); at += 2 + std::size_t{icons[at]} * icons[at + 1]) {
        sizes.push_back(icons[at]);
        ASSERT_EQ(icons[at], icons[at + 1]);
        // In its middle it is opaque.
        const std::size_t middle = at + 2 + std::size_t{icons[at]} * (icons[at] / 2) + icons[at] / 2;
        ASSERT_LT(middle, icons.size());
        EXPECT_EQ(icons[middle] >> 24, 255U) << icons[at];
    }
    std::ranges::sort(sizes);
    EXPECT_EQ(sizes, (std::vector<quint32>{16, 24, 32, 48, 64, 128}));
}

INSTANTIATE_TEST_SUITE_P(WindowManagers, DialogWindowDesk,
                         testing::ValuesIn(windowManagersToTest({QStringLiteral("openbox"),
                                                                 QStringLiteral("metacity")})),
                         [](const auto& instance) { return instance.param.toStdString(); });

} // namespace
} // namespace velmo::test
