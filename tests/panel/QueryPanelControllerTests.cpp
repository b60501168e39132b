#include "panel/QueryPanelController.h"

#include "fakes/FakeWindowSurfaces.h"
#include "panel/QueryInputPanel.h"
#include "panel/QueryInputTextView.h"
#include "support/core/SessionTest.h"
#include "support/panel/PanelVoice.h"
#include "support/widgets/ShownWidgets.h"
#include "widgets/ToolkitSpace.h"

#include <QApplication>
#include <QKeyEvent>
#include <QWindow>

namespace velmo {
namespace {

/// A session whose question panels are real.
class QueryPanel : public SessionTest {
protected:
    QueryPanel()
    {
        auto parts = collaborators();
        parts.makePanel = [this](AnnotationSession& owner, const std::optional<Screen>& screen) {
            auto panel = std::make_unique<QueryPanelController>(owner, screen, desktop);
            controller = panel.get();
            return panel;
        };
        session = std::make_unique<AnnotationSession>(std::move(parts));
        session->setSettings(settings);
    }
    ~QueryPanel() override
    {
        session.reset();
        EXPECT_TRUE(turnUntil([] { return shownWidgets<QueryInputPanel>().empty(); }));
    }

    /// Of the panel alone, for a screen.
    [[nodiscard]] QStringList linesOfPlacing(const std::optional<Screen>& screen)
    {
        log.take();
        const QueryPanelController placed(*session, screen, desktop);
        return log.take().filter(QStringLiteral("[QueryPanel]"));
    }

    [[nodiscard]] QString screenLine(const std::optional<Screen>& screen)
    {
        return linesOfPlacing(screen).value(0);
    }

    [[nodiscard]] static QueryInputPanel* window()
    {
        const auto found = shownWidgets<QueryInputPanel>();
        return found.empty() ? nullptr : found.front();
    }

    /// Through the window, as keys come.
    static void press(int key, const QString& text = {})
    {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier, text);
        QApplication::sendEvent(window()->windowHandle(), &event);
    }

    FakeWindowSurfaces windows;
    std::vector<std::pair<QString, QString>> servicesAskedFor; ///< Key and version.
    bool makesServices = true;
    PanelVoice voice;
    PanelDesktop desktop{screens, windows, {}, {}, [this](const QString& key, const QString& version) {
                             servicesAskedFor.emplace_back(key, version);
                             return makesServices ? voice.makeService() : nullptr;
                         }};
    QueryPanelController* controller = nullptr;
};

TEST_F(QueryPanel, IsCentredAboveTheDockAndSaysSo)
{
    Screen screen = FakeScreens::screen(QStringLiteral("Docked"), 3, {0, 0, 1440, 900});
    screen.visibleFrame = {0, 80, 1440, 795};
    EXPECT_EQ(linesOfPlacing(screen),
              (QStringList{
                  QStringLiteral("[QueryPanel] screen=(0, 0, 1440, 900) visibleFrame=(0, 80, 1440, 795)"),
                  QStringLiteral("[QueryPanel] panel origin=(410, 96) size=620x130"),
                  QStringLiteral("[QueryPanel] dock clearance: panelBottom=96 dockTop=80 gap=16pt"),
              }));
}

TEST_F(QueryPanel, OpensOnTheGivenScreenElseTheMainOneElseTheFirst)
{
    EXPECT_TRUE(screenLine(leftScreen).startsWith(QStringLiteral("[QueryPanel] screen=(-1280, -200,")));
    EXPECT_TRUE(
        screenLine(std::nullopt).startsWith(QStringLiteral("[QueryPanel] screen=(0, 0, 1920, 1080)")));
    screens.mainScreen.reset();
    screens.screens = {leftScreen, mainScreen};
    EXPECT_TRUE(screenLine(std::nullopt).startsWith(QStringLiteral("[QueryPanel] screen=(-1280, -200,")));
}

/// A panel on one of two screens, which then change.
class QueryPanelOnScreens : public QueryPanel {
protected:
    void open(const std::optional<Screen>& screen)
    {
        placed_ = std::make_unique<QueryPanelController>(*session, screen, desktop);
        placed_->showWindow();
    }
    ~QueryPanelOnScreens() override { placed_.reset(); }

    void changeScreens(const std::vector<Screen>& changed)
    {
        screens.screens = changed;
        screens.mainScreen = changed.empty() ? std::nullopt : std::optional(changed.front());
        log.take();
        // As the toolkit tells of it, several times over.
        Q_EMIT qGuiApp->screenRemoved(QGuiApplication::primaryScreen());
        Q_EMIT qGuiApp->primaryScreenChanged(QGuiApplication::primaryScreen());
        settle();
    }

    /// Where the card rests, in screen coordinates.
    [[nodiscard]] static ScreenPoint card()
    {
        return toolkitSpace().fromQt(QPointF(window()->cardBottomLeft()));
    }

    [[nodiscard]] static Screen smaller(Screen screen)
    {
        screen.frame.width /= 2;
        screen.frame.height /= 2;
        screen.visibleFrame = screen.frame;
        return screen;
    }

private:
    std::unique_ptr<QueryPanelController> placed_;
};

TEST_F(QueryPanelOnScreens, GoesToWhereItWouldOpenWhenItsScreenHasGone)
{
    open(leftScreen);
    EXPECT_EQ(card(), (ScreenPoint{-1280 + 640 - 310, -200 + 16}));
    window()->animateHeight(400);
    changeScreens({mainScreen});
    EXPECT_EQ(card(), (ScreenPoint{960 - 310, 16}));
    EXPECT_EQ(log.take().filter(QStringLiteral("[QueryPanel]")).size(), 3) << "once for all changes";
    EXPECT_TRUE(turnUntil([] { return window()->cardFrame().height() == 400; }));
    EXPECT_EQ(windows.kept->keeper, window());
}

TEST_F(QueryPanelOnScreens, StaysInTheMiddleOfAScreenThatBecomesSmaller)
{
    open(mainScreen);
    changeScreens({smaller(mainScreen), leftScreen});
    EXPECT_EQ(card(), (ScreenPoint{480 - 310, 16}));
    // A bar that comes later.
    Screen docked = smaller(mainScreen);
    docked.visibleFrame = {0, 40, 960, 500};
    changeScreens({docked, leftScreen});
    EXPECT_EQ(card(), (ScreenPoint{480 - 310, 40 + 16}));
}

TEST_F(QueryPanelOnScreens, StaysWhereItIsWhenOtherScreensChange)
{
    open(mainScreen);
    changeScreens({mainScreen});
    EXPECT_TRUE(log.take().filter(QStringLiteral("[QueryPanel]")).isEmpty());
    EXPECT_EQ(card(), (ScreenPoint{960 - 310, 16}));
}

TEST_F(QueryPanelOnScreens, StaysWhereItWasDraggedToAsLongAsItIsSeenThere)
{
    open(mainScreen);
    const QPoint away = toolkitSpace().toQt(ScreenPoint{-1000, 100}).toPoint();
    window()->moveCard(away);
    Screen docked = mainScreen;
    docked.visibleFrame = {0, 40, 1920, 1040};
    changeScreens({docked, leftScreen});
    EXPECT_EQ(window()->cardBottomLeft(), away);
    changeScreens({docked});
    EXPECT_EQ(card(), (ScreenPoint{960 - 310, 40 + 16}));
}

TEST_F(QueryPanelOnScreens, WaitsForAScreenWhereThereIsNone)
{
    open(mainScreen);
    changeScreens({});
    EXPECT_EQ(card(), (ScreenPoint{960 - 310, 16}));
    changeScreens({leftScreen});
    EXPECT_EQ(card(), (ScreenPoint{-1280 + 640 - 310, -200 + 16}));
}

TEST_F(QueryPanel, TakesTheKeyboardForItsFieldAndAgainWhenItHasComeIn)
{
    drawAndAdvance();
    ASSERT_NE(window(), nullptr);
    EXPECT_EQ(windows.kept->taken.size(), 1);
    EXPECT_EQ(windows.restacks, 1);
    EXPECT_NE(dynamic_cast<QueryTextView*>(window()->focusWidget()), nullptr);
    window()->focusWidget()->clearFocus();
    EXPECT_TRUE(turnUntil([&] { return windows.kept->taken.size() == 2; }));
    EXPECT_NE(dynamic_cast<QueryTextView*>(window()->focusWidget()), nullptr);
}

TEST_F(QueryPanel, EscapeCancelsTheSessionAndOtherKeysReachTheField)
{
    drawAndAdvance();
    press(Qt::Key_H, QStringLiteral("h"));
    press(Qt::Key_I, QStringLiteral("i"));
    const auto fields = shownWidgets<QueryTextView>();
    ASSERT_EQ(fields.size(), 1U);
    EXPECT_EQ(fields.front()->toPlainText(), QStringLiteral("hi"));
    log.take();
    press(Qt::Key_Escape);
    EXPECT_EQ(state(), SessionState::Idle);
    // The panel still fades, and no key of it means anything any more.
    ASSERT_NE(window(), nullptr);
    press(Qt::Key_Escape);
    settle();
    EXPECT_EQ(log.takeSession(), QStringList{QStringLiteral("Session cancelled and state reset")});
}

TEST_F(QueryPanel, OutlivesItsSessionOnlyToFade)
{
    drawAndAdvance();
    ASSERT_NE(window(), nullptr);
    // In the middle of everything: coming in, growing, and with changes under way.
    session->appendPendingUserMessage(QStringLiteral("one\ntwo\nthree"));
    window()->animateHeight(400);
    session.reset();
    controller = nullptr;
    ASSERT_NE(window(), nullptr);
    EXPECT_TRUE(turnUntil([] { return window() == nullptr; }));
    EXPECT_EQ(windows.kept->returned.size(), 1);
}

TEST_F(QueryPanel, StepsAsideForAHintAndTakesTheKeyboardAgain)
{
    completeFirstTurn();
    const auto taken = windows.kept->taken.size();
    session->hideChatForHint();
    EXPECT_FALSE(controller->isWindowVisible());
    EXPECT_EQ(windows.kept->returned.size(), 1);
    session->restoreChatAfterHint();
    EXPECT_TRUE(controller->isWindowVisible());
    EXPECT_EQ(windows.kept->taken.size(), taken + 1);
    EXPECT_EQ(windows.kept->keeper, window());
}

TEST_F(QueryPanel, TurnsSpeechIntoTextForUsersWithAKey)
{
    settings->replicateModelVersion.set(QStringLiteral("version-7"));
    putKey(KeychainAccount::Replicate, QByteArrayLiteral("speech-key"));
    drawAndAdvance();
    using Asked = std::vector<std::pair<QString, QString>>;
    EXPECT_EQ(servicesAskedFor, (Asked{{QStringLiteral("speech-key"), QStringLiteral("version-7")}}));
    EXPECT_NE(controller->transcriptionService(), nullptr);
}

TEST_F(QueryPanel, TakesTheKeyForSpeechFromTheEnvironmentToo)
{
    environment.replicateToken.assign(QByteArrayLiteral("token"));
    drawAndAdvance();
    ASSERT_EQ(servicesAskedFor.size(), 1U);
    EXPECT_EQ(servicesAskedFor.front().first, QStringLiteral("token"));
}

TEST_F(QueryPanel, HasNothingForSpeechWithoutAKey)
{
    putKey(KeychainAccount::Replicate, QByteArray());
    drawAndAdvance();
    EXPECT_TRUE(servicesAskedFor.empty());
    EXPECT_EQ(controller->transcriptionService(), nullptr);
}

TEST_F(QueryPanel, DoesWithoutAServiceThatCannotBeMade)
{
    makesServices = false;
    putKey(KeychainAccount::Replicate, QByteArrayLiteral("speech-key"));
    drawAndAdvance();
    EXPECT_EQ(servicesAskedFor.size(), 1U);
    EXPECT_EQ(controller->transcriptionService(), nullptr);
    session->end();
    desktop.makeTranscriptionService = {};
    drawAndAdvance();
    EXPECT_EQ(controller->transcriptionService(), nullptr);
}

} // namespace
} // namespace velmo
