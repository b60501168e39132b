#include "support/input/MenuBarTest.h"

#include "platform/EventTap.h"

#include <QApplication>
#include <QKeyEvent>
#include <QScreen>
#include <QWindow>

namespace velmo {
namespace {

const QString kAnnotate = QStringLiteral("Annotate Screen");
const QString kChangeHotkey = QStringLiteral("Change Hotkey...");
const QString kSettings = QStringLiteral("Settings...");

TEST_F(MenuBarTest, AnnotateAsksTheProgramWhichChecksFirst)
{
    int requests = 0;
    callbacks.requestAnnotation = [&] { ++requests; };
    build();
    choose(kAnnotate);
    EXPECT_EQ(requests, 1);
    EXPECT_EQ(state(), SessionState::Idle);
}

TEST_F(MenuBarTest, AnnotateBeginsTheSessionItselfWithoutAProgram)
{
    choose(kAnnotate);
    EXPECT_EQ(state(), SessionState::Drawing);
    EXPECT_TRUE(overlay().showToolbar);
}

TEST_F(MenuBarTest, UpdatesAndQuitAreHandedOn)
{
    std::vector<std::string> done;
    callbacks.checkForUpdates = [&] { done.emplace_back("updates"); };
    callbacks.terminate = [&] { done.emplace_back("terminate"); };
    build();
    choose(QStringLiteral("Check for Updates..."));
    choose(QStringLiteral("Quit Velmo"));
    EXPECT_THAT(done, testing::ElementsAre("updates", "terminate"));
}

TEST_F(MenuBarTest, SettingsTwiceShowTheSameWindow)
{
    int made = 0;
    callbacks.makeSettingsWindow = [&] {
        ++made;
        return makeForm();
    };
    build();
    EXPECT_EQ(controller->settingsWindow(), nullptr);
    choose(kSettings);
    QWidget* window = controller->settingsWindow();
    choose(kSettings);
    EXPECT_EQ(controller->settingsWindow(), window);
    EXPECT_EQ(made, 1);
    EXPECT_TRUE(window->isVisible());
}

TEST_F(MenuBarTest, TheSettingsWindowIsTitledClosableAndCentred)
{
    callbacks.makeSettingsWindow = makeForm;
    build();
    choose(kSettings);
    const QWidget& window = *controller->settingsWindow();
    EXPECT_EQ(window.windowTitle(), QStringLiteral("Velmo Settings"));
    EXPECT_EQ(window.size(), QSize(520, 580));
    EXPECT_EQ(window.minimumSize(), window.maximumSize());
    EXPECT_TRUE(window.windowFlags().testFlag(Qt::WindowTitleHint));
    EXPECT_TRUE(window.windowFlags().testFlag(Qt::WindowCloseButtonHint));
    EXPECT_FALSE(window.windowFlags().testFlag(Qt::WindowMinimizeButtonHint));
    // But for the frame around it.
    const QPoint off = window.frameGeometry().center() - window.screen()->availableGeometry().center();
    EXPECT_LE(std::max(std::abs(off.x()), std::abs(off.y())), 4);
}

TEST_F(MenuBarTest, AClosedSettingsWindowComesBack)
{
    callbacks.makeSettingsWindow = makeForm;
    build();
    choose(kSettings);
    QWidget* window = controller->settingsWindow();
    window->close();
    ASSERT_FALSE(window->isVisible());
    choose(kSettings);
    EXPECT_EQ(controller->settingsWindow(), window);
    EXPECT_TRUE(window->isVisible());
}

TEST_F(MenuBarTest, OpeningTheSettingsAgainTakesTheKeyboardFromTheirFields)
{
    callbacks.makeSettingsWindow = makeForm;
    build();
    choose(kSettings);
    QWidget* window = controller->settingsWindow();
    auto* field = window->findChild<QLineEdit*>();
    const auto activate = [](QWidget& other) {
        other.activateWindow();
        ASSERT_TRUE(turnUntil([&] { return other.isActiveWindow(); }));
    };
    activate(*window);
    field->setFocus();
    ASSERT_TRUE(turnUntil([&] { return field->hasFocus(); }));
    QWidget other;
    other.show();
    activate(other);
    choose(kSettings);
    activate(*window);
    EXPECT_EQ(QApplication::focusWidget(), window);
}

TEST_F(MenuBarTest, SettingsThatAreOpenAlreadyComeToTheFrontAgain)
{
    callbacks.makeSettingsWindow = makeForm;
    build();
    choose(kSettings);
    const QWidget* window = controller->settingsWindow();
    ASSERT_TRUE(turnUntil([&] { return windows.onTop == window; }));
    EXPECT_EQ(windows.activated, QList<const QWidget*>{window});
    const qsizetype times = windows.focused.size();
    choose(kSettings);
    EXPECT_EQ(windows.activated, (QList<const QWidget*>{window, window}));
    EXPECT_TRUE(turnUntil([&] { return windows.focused.size() > times; }));
    EXPECT_EQ(windows.unlisted.size(), 1);
    controller.reset();
    EXPECT_EQ(windows.onTop, nullptr);
}

TEST_F(MenuBarTest, WithoutASettingsWindowNothingOpens)
{
    choose(kSettings);
    EXPECT_EQ(controller->settingsWindow(), nullptr);
}

TEST_F(MenuBarTest, ChangeHotkeyOpensANewSheetInPlaceOfTheFormer)
{
    EXPECT_EQ(controller->hotkeySheet(), nullptr);
    choose(kChangeHotkey);
    QWidget* first = controller->hotkeySheet()->window();
    EXPECT_TRUE(first->isVisible());
    bool isGone = false;
    QObject::connect(first, &QObject::destroyed, first, [&] { isGone = true; });
    choose(kChangeHotkey);
    EXPECT_TRUE(isGone);
    EXPECT_TRUE(controller->hotkeySheet()->window()->isVisible());
}

TEST_F(MenuBarTest, AHotkeyThatWasRecordedComesIntoForceAlsoWhenItsSheetIsReplaced)
{
    int restarts = 0;
    callbacks.restartHotkeyMonitor = [&] { ++restarts; };
    build();
    choose(kChangeHotkey);
    recordHotkey();
    EXPECT_EQ(restarts, 0);
    choose(kChangeHotkey);
    EXPECT_EQ(restarts, 1);
    EXPECT_TRUE(controller->hotkeySheet()->window()->isVisible());
}

TEST_F(MenuBarTest, ADrawingClosesTheSheetAndTheMenu)
{
    choose(kChangeHotkey);
    controller->menu().popup(QPoint(40, 40));
    EXPECT_TRUE(windows.menuIsOpen);
    session->begin(true);
    EXPECT_FALSE(controller->menu().isVisible());
    EXPECT_FALSE(windows.menuIsOpen);
    const QWidget& sheet = *controller->hotkeySheet()->window();
    EXPECT_FALSE(sheet.isVisible());
    keys.key = {13, ModifierFlag::Shift, QStringLiteral("W")};
    QKeyEvent press(QEvent::KeyPress, Qt::Key_W, Qt::ShiftModifier);
    QCoreApplication::sendEvent(sheet.windowHandle(), &press);
    EXPECT_EQ(settings->hotkeyKeyCode.value(), 49);
    EXPECT_TRUE(keys.asked.isEmpty());
}

TEST_F(MenuBarTest, TheFormerSheetIsClosedBeforeTheNextOneOpens)
{
    choose(kChangeHotkey);
    QWidget* first = controller->hotkeySheet()->window();
    ASSERT_TRUE(turnUntil([&] { return windows.onTop == first; }));
    choose(kChangeHotkey);
    EXPECT_NE(windows.onTop, first);
    EXPECT_TRUE(turnUntil([&] { return windows.onTop == controller->hotkeySheet()->window(); }));
}

TEST_F(MenuBarTest, ASheetThatIsDiscardedBringsNothingIntoForce)
{
    int restarts = 0;
    callbacks.restartHotkeyMonitor = [&] { ++restarts; };
    build();
    choose(kChangeHotkey);
    recordHotkey();
    EXPECT_EQ(settings->hotkeyKeyCode.value(), 40);
    controller->discardHotkeySheet();
    EXPECT_EQ(controller->hotkeySheet(), nullptr);
    // A later save of the same length has its time after the first one would have had.
    build();
    choose(kChangeHotkey);
    recordHotkey();
    EXPECT_TRUE(turnUntil([&] { return restarts > 0; }));
    EXPECT_EQ(restarts, 1);
}

TEST_F(MenuBarTest, ARecordedHotkeyComesIntoForceAfterTheDrawingThatBeganMeanwhile)
{
    int restarts = 0;
    callbacks.restartHotkeyMonitor = [&] { ++restarts; };
    build();
    choose(kChangeHotkey);
    recordHotkey();
    session->begin(true);
    ASSERT_EQ(session->state().value(), SessionState::Drawing);
    // Its time comes amid the drawing.
    turnFor(std::chrono::milliseconds(900));
    EXPECT_EQ(restarts, 0);
    session->cancel();
    EXPECT_TRUE(turnUntil([&] { return restarts > 0; }));
    turnFor(std::chrono::milliseconds(50));
    EXPECT_EQ(restarts, 1);
}

class StatusItemTest : public MenuBarTest {
protected:
    void SetUp() override {}
    [[nodiscard]] QStringList explanations() { return log.take().filter(QStringLiteral("tray")); }
};

TEST_F(StatusItemTest, WaitsForATray)
{
    FakeTrayPresence& tray = addTray(TrayPresence::State::Absent);
    build();
    EXPECT_FALSE(controller->statusItem().exists());
    tray.become(TrayPresence::State::Present);
    EXPECT_TRUE(controller->statusItem().exists());
}

TEST_F(StatusItemTest, AsksNothingOfTheToolkitWhileTheBusOwesAnAnswer)
{
    FakeTrayPresence& bus = addTray(TrayPresence::State::Unknown);
    addTray(TrayPresence::State::Present, TrayPresence::Kind::Embedding);
    build();
    EXPECT_FALSE(controller->statusItem().exists());
    EXPECT_THAT(explanations(), testing::IsEmpty());
    bus.become(TrayPresence::State::Absent);
    EXPECT_TRUE(turnUntil([this] { return controller->statusItem().exists(); }));
    EXPECT_THAT(explanations(), testing::IsEmpty());
}

TEST_F(StatusItemTest, WaitsForTheBusWhileOnlyAnEmbeddingTrayIsThere)
{
    trayPatience = std::chrono::hours(1);
    FakeTrayPresence& bus = addTray(TrayPresence::State::Absent);
    addTray(TrayPresence::State::Present, TrayPresence::Kind::Embedding);
    build();
    settle();
    EXPECT_FALSE(controller->statusItem().exists());
    bus.become(TrayPresence::State::Present);
    EXPECT_TRUE(controller->statusItem().exists());
    EXPECT_THAT(explanations(), testing::IsEmpty());
}

TEST_F(StatusItemTest, TakesAnEmbeddingTrayWhenNothingElseCame)
{
    addTray(TrayPresence::State::Absent);
    addTray(TrayPresence::State::Present, TrayPresence::Kind::Embedding);
    build();
    EXPECT_FALSE(controller->statusItem().exists());
    EXPECT_TRUE(turnUntil([this] { return controller->statusItem().exists(); }));
}

TEST_F(StatusItemTest, TakesAnEmbeddingTrayAtOnceWhereNoOtherCanCome)
{
    trayPatience = std::chrono::hours(1);
    addTray(TrayPresence::State::Absent).mayYetCome = false;
    addTray(TrayPresence::State::Present, TrayPresence::Kind::Embedding);
    build();
    EXPECT_TRUE(controller->statusItem().exists());
}

TEST_F(StatusItemTest, ADesktopThatOwesAnAnswerForLongCountsAsWithoutATrayUntilItAnswers)
{
    FakeTrayPresence& bus = addTray(TrayPresence::State::Unknown);
    addTray(TrayPresence::State::Present, TrayPresence::Kind::Embedding);
    build();
    EXPECT_THAT(explanations(), testing::IsEmpty());
    QStringList said;
    ASSERT_TRUE(turnUntil([&] {
        said = explanations();
        return !said.isEmpty();
    }));
    EXPECT_EQ(said,
              QStringList{QStringLiteral("[Platform] This desktop does not say whether it has a tray; the "
                                         "menu appears as soon as it does.")});
    EXPECT_FALSE(controller->statusItem().exists()) << "the toolkit would wait for the answer";
    bus.become(TrayPresence::State::Present);
    EXPECT_TRUE(controller->statusItem().exists());
}

TEST_F(StatusItemTest, TheWaitForAnAnswerIsNotTheWaitForALateBar)
{
    FakeTrayPresence& bus = addTray(TrayPresence::State::Unknown);
    addTray(TrayPresence::State::Present, TrayPresence::Kind::Embedding);
    build();
    ASSERT_TRUE(turnUntil([this] { return !explanations().isEmpty(); }));
    bus.become(TrayPresence::State::Absent);
    EXPECT_FALSE(controller->statusItem().exists()) << "one on the bus may come any moment";
    EXPECT_TRUE(turnUntil([this] { return controller->statusItem().exists(); }));
}

TEST(StatusItem, IsMorePatientWhereTheBarComesLate)
{
    const auto usual = StatusItem::patienceFor({QStringLiteral("XFCE")});
    EXPECT_GE(usual, std::chrono::seconds(2));
    EXPECT_GT(StatusItem::patienceFor({QStringLiteral("KDE")}), usual);
}

TEST_F(StatusItemTest, SaysOnceThatItCannotChangeToTheOtherKind)
{
    FakeTrayPresence& bus = addTray(TrayPresence::State::Present);
    FakeTrayPresence& embedding = addTray(TrayPresence::State::Absent, TrayPresence::Kind::Embedding);
    build();
    bus.become(TrayPresence::State::Absent);
    EXPECT_THAT(explanations(), testing::IsEmpty());
    embedding.become(TrayPresence::State::Present);
    embedding.become(TrayPresence::State::Absent);
    embedding.become(TrayPresence::State::Present);
    EXPECT_THAT(explanations(),
                testing::ElementsAre(QStringLiteral(
                    "[Platform] The tray has gone, and the desktop has one of another kind now; "
                    "the menu appears there when Velmo is started anew.")));
}

TEST_F(StatusItemTest, SaysOnceThatThereIsNoTray)
{
    FakeTrayPresence& bus = addTray(TrayPresence::State::Unknown);
    FakeTrayPresence& selection = addTray(TrayPresence::State::Absent);
    build();
    bus.become(TrayPresence::State::Absent);
    selection.become(TrayPresence::State::Absent);
    EXPECT_THAT(explanations(), testing::ElementsAre(QStringLiteral(
                                    "[Platform] This desktop has no tray yet; the menu appears "
                                    "as soon as there is one.")));
}

TEST_F(StatusItemTest, StaysWhenTheTrayGoes)
{
    FakeTrayPresence& tray = addTray(TrayPresence::State::Present);
    build();
    tray.become(TrayPresence::State::Absent);
    EXPECT_TRUE(controller->statusItem().exists());
    EXPECT_THAT(explanations(), testing::IsEmpty());
}

TEST_F(StatusItemTest, NobodyIsToldAfterItsEnd)
{
    FakeTrayPresence& tray = addTray(TrayPresence::State::Absent);
    build();
    EXPECT_TRUE(tray.isWatched());
    controller.reset();
    EXPECT_FALSE(tray.isWatched());
}

} // namespace
} // namespace velmo
