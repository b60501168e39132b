#include "e2e/OverlayDesk.h"
#include "overlay/HintCapsuleController.h"
#include "overlay/ImagePreviewWindowController.h"
#include "support/x11/PlainClient.h"

#include <gtest/gtest.h>

namespace velmo::test {
namespace {

/// What else runs on the desktop.
struct DeskKind {
    const char* name;
    bool hasManager;
    bool hasCompositor;
};

class OverlayOnDesk : public OverlayDesk, public testing::WithParamInterface<DeskKind> {
protected:
    void SetUp() override
    {
        if (GetParam().hasManager) {
            ASSERT_TRUE(display().startWindowManager());
        }
        if (GetParam().hasCompositor) {
            ASSERT_TRUE(display().startCompositor());
        }
        client_ = std::make_unique<PlainClient>(PlainClient::Options{});
        if (!GetParam().hasManager)
            client_->takeFocus();
        ASSERT_TRUE(awaitCondition([this] {
            return client_->hasFocus() && (!GetParam().hasManager || activeWindow() == client_->window());
        }));
        client_->forgetEvents();
    }

    void TearDown() override { client_.reset(); }

    /// The screen once nothing changes any more. A compositor that has just started leaves it black for a
    /// while.
    [[nodiscard]] QImage settledScreen() const
    {
        QImage last = screenNow();
        int calm = 0;
        EXPECT_TRUE(awaitCondition([&] {
            QImage now = screenNow();
            const bool isPainted =
                !GetParam().hasCompositor || now.pixelColor(now.rect().bottomRight()) != QColor(Qt::black);
            calm = isPainted && now == last ? calm + 1 : 0;
            last = std::move(now);
            return calm >= 10;
        }));
        return last;
    }

    [[nodiscard]] QRect toolbarPlace() const { return toolbar()->frameGeometry(); }
    [[nodiscard]] QPoint buttonPlace(const QString& name) const
    {
        const auto buttons = toolbar()->findChildren<QAbstractButton*>();
        for (const QAbstractButton* button : buttons) {
            if (button->accessibleName() == name || button->text() == name)
                return button->mapToGlobal(button->rect().center());
        }
        return {};
    }

    void clickOn(QPoint at)
    {
        input_.moveTo(at.x(), at.y());
        input_.click(1);
    }

    /// The application shows nothing but that colour.
    void paintClient(uint32_t color)
    {
        xcb_connection_t* xcb = client_->connection().get();
        xcb_change_window_attributes(xcb, client_->window(), XCB_CW_BACK_PIXEL, &color);
        xcb_clear_area(xcb, 0, client_->window(), 0, 0, 0, 0);
        client_->connection().sync();
    }

    [[nodiscard]] std::string readBytes(xcb_window_t window, const char* property) const
    {
        return awaitBytes(eye_->get(), requestProperty(eye_->get(), window, eye_->atom(property)))
            .toStdString();
    }

    std::unique_ptr<PlainClient> client_;
};

TEST_P(OverlayOnDesk, TheApplicationBelowStaysTheActiveOne)
{
    const quint32 active = activeWindow();
    begin(true);
    EXPECT_EQ(activeWindow(), active);
    EXPECT_TRUE(client_->hasFocus());
    input_.tap("a");
    input_.tap("Escape");
    EXPECT_TRUE(awaitCondition([this] { return state() == SessionState::Idle; }));
    EXPECT_EQ(client_->count(PlainClient::Event::Type::KeyPress, input_.keyCode("a")), 0);
    EXPECT_EQ(client_->count(PlainClient::Event::Type::KeyPress, input_.keyCode("Escape")), 0);
    EXPECT_EQ(activeWindow(), active);
    input_.tap("b");
    EXPECT_TRUE(awaitCondition([this] {
        return client_->count(PlainClient::Event::Type::KeyPress, input_.keyCode("b")) == 1;
    })) << "the keyboard is the application's again";
}

TEST_P(OverlayOnDesk, FullScreenWindowsAndDocksAreBelow)
{
    PlainClient::Options full;
    full.area = {0, 0, 1920, 1080};
    full.isFullScreen = true;
    full.bypassesManager = !GetParam().hasManager;
    const PlainClient fullScreen(full);
    PlainClient::Options bottom;
    bottom.area = {0, 1000, 1920, 80};
    bottom.windowType = "_NET_WM_WINDOW_TYPE_DOCK";
    bottom.bypassesManager = !GetParam().hasManager;
    const PlainClient dock(bottom);
    static_cast<void>(settledScreen());
    const quint32 active = activeWindow();
    begin(true);
    ASSERT_NE(toolbar(), nullptr);
    const auto overlay = idOf(surfaces().front());
    EXPECT_TRUE(awaitCondition([&] { return levelOf(idOf(toolbar())) > levelOf(overlay); }));
    EXPECT_GT(levelOf(overlay), levelOf(fullScreen.window()));
    EXPECT_GT(levelOf(overlay), levelOf(dock.window()));
    EXPECT_EQ(activeWindow(), active);
    // The toolbar is there for the mouse, too.
    clickOn(buttonPlace(QStringLiteral("Blue")));
    drag({300, 300}, {500, 300});
    EXPECT_TRUE(awaitCondition([this] { return capture.requests.size() == 1; }));
    EXPECT_TRUE(awaitCondition([this] { return qBlue(screenNow().pixel(400, 300)) > 200; }));
    input_.tap("Escape");
    EXPECT_TRUE(awaitCondition([this] { return state() == SessionState::Idle; }));
}

TEST_P(OverlayOnDesk, TheToolbarsCancelEndsTheSession)
{
    begin(true);
    clickOn(buttonPlace(QStringLiteral("Cancel")));
    EXPECT_TRUE(awaitCondition([this] { return state() == SessionState::Idle; }));
    EXPECT_TRUE(capture.requests.empty()) << "the press was no stroke";
}

TEST_P(OverlayOnDesk, DoneSubmitsWhatWasDrawn)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    begin(true);
    drag({300, 300}, {500, 300});
    clickOn(buttonPlace(QStringLiteral("Green")));
    drag({300, 350}, {500, 350});
    EXPECT_TRUE(awaitCondition([this] { return canvas().strokes().size() == 2; }));
    EXPECT_EQ(state(), SessionState::Drawing);
    clickOn(buttonPlace(QStringLiteral("Done →")));
    EXPECT_TRUE(awaitCondition([this] { return capture.requests.size() == 1; }));
    const QImage& overlay = capture.requests.front()->overlay;
    EXPECT_EQ(overlay.size(), QSize(1920, 1080));
    EXPECT_EQ(overlay.pixelColor(400, 300), QColor(Qt::red));
    EXPECT_EQ(overlay.pixelColor(400, 350), QColor(0, 255, 0));
    EXPECT_FALSE(toolbar() != nullptr) << "the toolbar has gone";
}

TEST_P(OverlayOnDesk, ReturnSubmitsWhereNoToolbarIs)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    begin(false);
    drag({300, 300}, {500, 300});
    ASSERT_TRUE(awaitCondition([this] { return qRed(screenNow().pixel(400, 300)) > 200; }));
    input_.tap("KP_Enter");
    EXPECT_TRUE(awaitCondition([this] { return capture.requests.size() == 1; }));
}

TEST_P(OverlayOnDesk, ShowsTheDesktopAsItIs)
{
    const QImage before = settledScreen();
    begin(true);
    // All but the toolbar looks as before, whether by a compositor or by a picture of it.
    EXPECT_TRUE(awaitCondition([&] {
        return differingPixels(settledScreen(), before, toolbarPlace().adjusted(-1, -1, 1, 1)) == 0;
    }));
    EXPECT_GT(differingPixels(screenNow(), before), 10'000) << "the toolbar is there";
}

TEST_P(OverlayOnDesk, FollowsWhatTheDesktopDoesBelow)
{
    begin(false);
    drag({150, 130}, {250, 130});
    static_cast<void>(settledScreen());
    paintClient(0xffff00);
    EXPECT_TRUE(awaitCondition([this] { return (screenNow().pixel(300, 250) & 0xffffff) == 0xffff00; }));
    EXPECT_EQ(screenNow().pixel(200, 130) & 0xffffff, 0xff0000U) << "the stroke is above it";
}

TEST_P(OverlayOnDesk, StaysTransparentWhenACompositorComesOrGoes)
{
    const QRgb below = settledScreen().pixel(300, 250);
    begin(false);
    drag({150, 130}, {250, 130});
    if (GetParam().hasCompositor)
        display().stopCompositor();
    else
        ASSERT_TRUE(display().startCompositor());
    const auto shows = [this](QRgb pixel) {
        const QImage now = screenNow();
        return now.pixel(300, 250) == pixel && (now.pixel(200, 130) & 0xffffff) == 0xff0000;
    };
    EXPECT_TRUE(awaitCondition([&] { return shows(below); })) << "the application and the stroke above it";
    paintClient(0x00ffff);
    EXPECT_TRUE(awaitCondition([&] { return shows(0xff00ffff); })) << "and what it does from now on";
}

TEST_P(OverlayOnDesk, NothingOfItIsLeftAtItsEnd)
{
    const QImage before = settledScreen();
    begin(true);
    drag({300, 300}, {500, 500});
    ASSERT_TRUE(awaitCondition([this] { return capture.requests.size() == 1; }));
    session->end();
    platform_.displayCapture->release();
    EXPECT_TRUE(awaitCondition([&] { return differingPixels(screenNow(), before) == 0; }));
}

TEST_P(OverlayOnDesk, ThePreviewIsAboveTheOverlayAndTakesTheKeys)
{
    begin(true);
    QImage picture(900, 600, QImage::Format_RGB32);
    picture.fill(Qt::magenta);
    ImagePreviewWindowController preview(picture, QStringLiteral("Screenshot"), *platform_.screens,
                                         *platform_.windowSurfaces);
    preview.showWindow();
    EXPECT_TRUE(awaitCondition([this] { return screenNow().pixelColor(960, 540) == QColor(Qt::magenta); }));
    // Drawing on goes on beside it, and below it.
    const auto overlay = idOf(surfaces().front());
    const auto tool = idOf(toolbar());
    EXPECT_TRUE(awaitCondition([&] { return levelOf(tool) > levelOf(overlay); }));
    input_.tap("space");
    EXPECT_TRUE(awaitCondition([&] { return !preview.isVisible(); }));
    EXPECT_EQ(state(), SessionState::Drawing);
    EXPECT_TRUE(awaitCondition([&] { return levelOf(tool) > levelOf(overlay); }));
    EXPECT_GT(levelOf(overlay), levelOf(client_->window()));
    client_->forgetEvents();
    input_.tap("Escape");
    EXPECT_TRUE(awaitCondition([this] { return state() == SessionState::Idle; })) << "the keyboard is back";
    EXPECT_EQ(client_->count(PlainClient::Event::Type::KeyPress, input_.keyCode("Escape")), 0);
}

TEST_P(OverlayOnDesk, EscapeInThePreviewCancelsTheSession)
{
    begin(true);
    QImage picture(900, 600, QImage::Format_RGB32);
    picture.fill(Qt::magenta);
    ImagePreviewWindowController preview(picture, QStringLiteral("Screenshot"), *platform_.screens,
                                         *platform_.windowSurfaces);
    preview.showWindow();
    ASSERT_TRUE(awaitCondition([this] { return screenNow().pixelColor(960, 540) == QColor(Qt::magenta); }));
    input_.tap("Escape");
    EXPECT_TRUE(awaitCondition([this] { return state() == SessionState::Idle; }));
    EXPECT_TRUE(log.text().contains(QStringLiteral("[OverlayWindow] Escape pressed — cancelling session")));
    EXPECT_TRUE(preview.isVisible()) << "the key was the session's";
}

TEST_P(OverlayOnDesk, APreviewThatIsOpenStaysAboveAnOverlayThatComes)
{
    QImage picture(900, 600, QImage::Format_RGB32);
    picture.fill(Qt::magenta);
    ImagePreviewWindowController preview(picture, QStringLiteral("Screenshot"), *platform_.screens,
                                         *platform_.windowSurfaces);
    preview.showWindow();
    ASSERT_TRUE(awaitCondition([this] { return screenNow().pixelColor(960, 540) == QColor(Qt::magenta); }));
    const auto windows = QApplication::topLevelWidgets();
    const auto titled = std::ranges::find_if(
        windows, [](const QWidget* widget) { return widget->windowTitle() == QStringLiteral("Screenshot"); });
    const xcb_window_t id = idOf(*titled);
    EXPECT_EQ(readBytes(id, "_NET_WM_NAME"), "Screenshot") << "and nothing else";
    if (GetParam().hasManager) {
        EXPECT_TRUE(awaitCondition(
            [&] { return readNumber(eye_->get(), id, eye_->atom("_NET_WM_DESKTOP")) == 0xffffffff; }));
    }
    begin(true);
    drag({200, 950}, {400, 950}); // Beside it.
    EXPECT_TRUE(awaitCondition([this] { return (screenNow().pixel(300, 950) & 0xffffff) == 0xff0000; }));
    EXPECT_EQ(screenNow().pixelColor(960, 540), QColor(Qt::magenta));
    EXPECT_GT(levelOf(id), levelOf(idOf(surfaces().front())));
}

TEST_P(OverlayOnDesk, EveryMoveOfTheMouseIsAPointOfTheStroke)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    begin(false);
    input_.moveTo(300, 300);
    input_.pressButton(1);
    ASSERT_TRUE(awaitCondition([this] { return canvas().currentStroke().has_value(); }));
    // They wait in the queue together, as after a moment in which the program was busy.
    constexpr int kMoves = 100;
    for (int i = 1; i <= kMoves; ++i)
        input_.moveTo(300 + i, 300 + i % 7);
    input_.releaseButton(1);
    ASSERT_TRUE(awaitCondition([this] { return canvas().strokes().size() == 1; }));
    EXPECT_EQ(canvas().strokes().front().path.size(), kMoves + 1);
}

TEST_P(OverlayOnDesk, OtherButtonsDoNotDisturbAStroke)
{
    settings->submitMode.set(SubmitMode::ManualSubmit);
    begin(false);
    input_.moveTo(300, 300);
    input_.pressButton(1);
    input_.moveTo(350, 300);
    input_.pressButton(3);
    input_.moveTo(400, 300);
    input_.releaseButton(3);
    input_.moveTo(450, 300);
    input_.releaseButton(1);
    ASSERT_TRUE(awaitCondition([this] { return canvas().strokes().size() == 1; }));
    EXPECT_EQ(canvas().strokes().front().path.size(), 4);
}

TEST_P(OverlayOnDesk, TheHintLetsClicksThrough)
{
    PlainClient::Options wide;
    wide.area = {700, 900, 500, 170};
    const PlainClient::Options options = wide;
    PlainClient below(options);
    static_cast<void>(settledScreen());
    input_.moveTo(960, 200);
    HintCapsuleController hint(*platform_.screens, *platform_.windowSurfaces);
    hint.show();
    ASSERT_TRUE(hint.isVisible());
    EXPECT_TRUE(awaitCondition([this] { return qGray(screenNow().pixel(800, 1044)) < 70; }))
        << "the capsule is dark at its place";
    below.forgetEvents();
    clickOn({960, 1044});
    EXPECT_TRUE(awaitCondition([&] { return below.count(PlainClient::Event::Type::ButtonPress, 1) == 1; }));
    hint.hide();
    EXPECT_TRUE(awaitCondition([&] { return !hint.isVisible(); }));
}

INSTANTIATE_TEST_SUITE_P(Desks, OverlayOnDesk,
                         testing::Values(DeskKind{"Bare", false, false}, DeskKind{"Managed", true, false},
                                         DeskKind{"Composited", false, true},
                                         DeskKind{"ManagedAndComposited", true, true}),
                         [](const auto& desk) { return desk.param.name; });

} // namespace
} // namespace velmo::test
