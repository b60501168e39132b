#include "e2e/ProgramDesk.h"
#include "panel/ModelPillButton.h"
#include "support/app/FirstRun.h"
#include "support/tray/TrayHost.h"
#include "support/tray/TrayTestMain.h"
#include "support/x11/PlainClient.h"

#include <QElapsedTimer>
#include <QMenu>
#include <QProcess>
#include <QTimer>
#include <QWindow>
#include <cerrno>
#include <csignal>

namespace velmo::test {
namespace {

const QString kAnnotate = QStringLiteral("Annotate Screen");
const QString kChangeHotkey = QStringLiteral("Change Hotkey...");

/// The program in a desktop with a bar, which may come late.
class MenuJob : public ProgramDesk {
protected:
    [[nodiscard]] bool awaitItem()
    {
        return awaitCondition([this] { return !host_.items().isEmpty(); });
    }
    [[nodiscard]] bool awaitState(SessionState state)
    {
        return awaitCondition([&] { return session().state().value() == state; });
    }

    [[nodiscard]] QWidget& sheet() const { return *delegate_->menuBarController()->hotkeySheet()->window(); }
    void openSheet()
    {
        ASSERT_TRUE(host_.choose(kChangeHotkey));
        ASSERT_TRUE(awaitCondition([this] {
            return delegate_->menuBarController()->hotkeySheet() != nullptr && sheet().isActiveWindow();
        }));
    }
    /// A question may be typed.
    void openPanel()
    {
        input_.chord({"Control_L", "Alt_L", "space"});
        ASSERT_TRUE(awaitCondition(overlayIsUp));
        circle(QRect(200, 200, 200, 150));
        ASSERT_TRUE(awaitState(SessionState::Querying));
        ASSERT_TRUE(awaitQuestionField());
        // When it has come in it takes the keyboard once more, and some time later its field does.
        ASSERT_TRUE(awaitCondition([] {
            const QWidget* panel = shownField()->window();
            return panel->windowOpacity() == 1 &&
                   !panel->findChild<QTimer*>(QStringLiteral("firstFocus"))->isActive();
        }));
    }
    [[nodiscard]] static QueryTextView* shownField()
    {
        for (QWidget* widget : QApplication::allWidgets()) {
            if (auto* field = dynamic_cast<QueryTextView*>(widget); field != nullptr && field->isVisible())
                return field;
        }
        return nullptr;
    }

    TrayHost host_{buses().sessionAddress()};
};

TEST_F(MenuJob, AnnotateBeginsASession)
{
    startProgram();
    EXPECT_TRUE(awaitLog(QStringLiteral("[Platform] This desktop has no tray yet")));
    ASSERT_TRUE(host_.start());
    ASSERT_TRUE(awaitItem());
    ASSERT_TRUE(host_.choose(kAnnotate));
    ASSERT_TRUE(awaitState(SessionState::Drawing));
    ASSERT_TRUE(awaitCondition(overlayIsUp));
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle));
}

TEST_F(MenuJob, ARecordedHotkeyTakesTheFormersPlace)
{
    ASSERT_TRUE(host_.start());
    startProgram();
    ASSERT_TRUE(awaitItem());
    openSheet();
    input_.chord({"Shift_L", "Super_L", "k"});
    ASSERT_TRUE(awaitLog(QStringLiteral("[Platform] ready"), 2));
    EXPECT_EQ(settings_->hotkeyKeyCode.value(), 40);
    EXPECT_FALSE(sheet().isVisible());

    // The former one is nobody's now: it reaches the application, and so does what comes after it.
    PlainClient application{{}};
    ASSERT_TRUE(awaitCondition([&] { return application.hasFocus(); }));
    input_.chord({"Control_L", "Alt_L", "space"});
    input_.tap("F9");
    const auto presses = [&](const char* key) {
        return application.count(PlainClient::Event::Type::KeyPress, input_.keyCode(key));
    };
    ASSERT_TRUE(awaitCondition([&] { return presses("F9") == 1; }));
    EXPECT_EQ(presses("space"), 1);
    EXPECT_EQ(session().state().value(), SessionState::Idle);

    input_.chord({"Shift_L", "Super_L", "k"});
    ASSERT_TRUE(awaitState(SessionState::Drawing));
    EXPECT_EQ(presses("k"), 0);
    EXPECT_EQ(logCount(QStringLiteral("[Session] Begin annotation session")), 1);
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle));
}

TEST_F(MenuJob, ARecordedHotkeyThatIsStillHeldAsksNothing)
{
    ASSERT_TRUE(host_.start());
    startProgram();
    ASSERT_TRUE(awaitItem());
    openSheet();
    input_.hold({"Shift_L", "Super_L", "k"});
    ASSERT_TRUE(awaitLog(QStringLiteral("[Platform] ready"), 2));
    // It repeats at least ten times meanwhile.
    awaitCondition([] { return false; }, std::chrono::milliseconds(500));
    EXPECT_EQ(session().state().value(), SessionState::Idle);
    EXPECT_EQ(logCount(QStringLiteral("[Session] Begin annotation session")), 0);
    input_.letGo({"Shift_L", "Super_L", "k"});
    input_.chord({"Shift_L", "Super_L", "k"});
    EXPECT_TRUE(awaitState(SessionState::Drawing));
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle));
}

TEST_F(MenuJob, ADrawingClosesTheSheet)
{
    ASSERT_TRUE(host_.start());
    startProgram();
    ASSERT_TRUE(awaitItem());
    openSheet();
    input_.chord({"Control_L", "Alt_L", "space"});
    ASSERT_TRUE(awaitState(SessionState::Drawing));
    EXPECT_FALSE(sheet().isVisible());
    ASSERT_TRUE(awaitCondition(overlayIsUp));
    input_.chord({"Control_L", "Alt_L", "j"});
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle));
    EXPECT_EQ(settings_->hotkeyKeyCode.value(), 49);
}

TEST_F(MenuJob, TypingAQuestionWhileTheSheetIsOpenRecordsNothing)
{
    ASSERT_TRUE(display().startCompositor());
    ASSERT_TRUE(host_.start());
    startProgram();
    ASSERT_TRUE(awaitItem());
    openPanel();
    openSheet();
    auto* field = shownField();
    ASSERT_NE(field, nullptr);
    const QPoint inField = field->mapToGlobal(field->rect().center());
    input_.moveTo(inField.x(), inField.y());
    input_.click(1);
    ASSERT_TRUE(awaitQuestionField());
    input_.chord({"Shift_L", "w"});
    input_.tap("h");
    EXPECT_TRUE(awaitCondition([&] { return field->toPlainText() == QStringLiteral("Wh"); }))
        << field->toPlainText().toStdString();
    EXPECT_EQ(settings_->hotkeyKeyCode.value(), 49);
    EXPECT_TRUE(sheet().isVisible());
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle));
}

TEST_F(MenuJob, ASheetInPlaceOfAnotherKeepsTheKeyboardBesideAQuestion)
{
    ASSERT_TRUE(display().startCompositor());
    ASSERT_TRUE(host_.start());
    startProgram();
    ASSERT_TRUE(awaitItem());
    openPanel();
    openSheet();
    const QWidget* former = &sheet();
    ASSERT_TRUE(host_.choose(kChangeHotkey));
    ASSERT_TRUE(awaitCondition([&] { return &sheet() != former && sheet().isActiveWindow(); }));
    // The panel looks after its own keyboard for a while.
    QElapsedTimer since;
    since.start();
    EXPECT_TRUE(awaitCondition([&] {
        if (!sheet().isActiveWindow())
            since.restart();
        return since.elapsed() > 500;
    }));
    input_.chord({"Control_L", "j"});
    EXPECT_TRUE(awaitCondition([this] { return settings_->hotkeyKeyCode.value() == 38; }));
    EXPECT_TRUE(awaitCondition([this] { return !sheet().isVisible(); }));
    EXPECT_TRUE(awaitQuestionField());
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle));
}

TEST_F(MenuJob, AnnotateAddsAPictureToAQuestion)
{
    ASSERT_TRUE(host_.start());
    startProgram();
    ASSERT_TRUE(awaitItem());
    openPanel();
    ask("why", 3);
    ASSERT_TRUE(host_.choose(kAnnotate));
    ASSERT_TRUE(awaitState(SessionState::Drawing));
    ASSERT_TRUE(awaitCondition(overlayIsUp));
    circle(QRect(500, 300, 200, 150));
    ASSERT_TRUE(awaitLog(QStringLiteral("[Session] Additional capture complete")));
    ASSERT_TRUE(awaitState(SessionState::Querying));
    ASSERT_TRUE(awaitQuestionField());
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle));
}

TEST_F(MenuJob, ThePanelWithoutAnyKeyLeadsToTheSettings)
{
    ASSERT_TRUE(host_.start());
    qunsetenv("OPENAI_API_KEY");
    startProgram();
    ASSERT_TRUE(awaitItem());
    openPanel();
    input_.tap("Tab");
    ASSERT_TRUE(awaitCondition(
        [] { return dynamic_cast<ModelPillButton*>(QApplication::focusWidget()) != nullptr; }));
    input_.tap("space");
    ASSERT_TRUE(awaitCondition([this] {
        const QWidget* window = delegate_->menuBarController()->settingsWindow();
        return window != nullptr && window->isActiveWindow();
    }));
    delegate_->menuBarController()->settingsWindow()->close();
    ASSERT_TRUE(awaitCondition([] { return QApplication::activeWindow() == shownField()->window(); }));
    input_.tap("x");
    EXPECT_TRUE(awaitCondition([] { return shownField()->toPlainText() == QStringLiteral("x"); }))
        << "questions are typed wherever the keyboard is in the panel";
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle));
}

TEST_F(MenuJob, TheHotkeyWorksWhileTheMenuIsOpen)
{
    ASSERT_TRUE(host_.start());
    startProgram();
    ASSERT_TRUE(awaitItem());
    ASSERT_TRUE(host_.activate());
    const QMenu& menu = delegate_->menuBarController()->menu();
    ASSERT_TRUE(awaitCondition([&] { return menu.isVisible() && menu.windowHandle()->isExposed(); }));
    // The menu takes the keyboard some time after it is seen, and in between a key may go to nobody: then
    // people press it again.
    QElapsedTimer since;
    ASSERT_TRUE(awaitCondition([&] {
        constexpr qint64 kAgain = 1000;
        if (!since.isValid() || since.elapsed() > kAgain) {
            input_.chord({"Control_L", "Alt_L", "space"});
            since.start();
        }
        return session().state().value() == SessionState::Drawing;
    }));
    EXPECT_FALSE(menu.isVisible());
    ASSERT_TRUE(awaitCondition(overlayIsUp));
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Idle));
    EXPECT_EQ(logCount(QStringLiteral("[Session] Begin annotation session")), 1);
}

/// The program as a process of its own, which is asked to quit.
class MenuProcess : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(display().startWindowManager());
        completeFirstRun();
        ASSERT_TRUE(host_.start());
        process_.setStandardOutputFile(QProcess::nullDevice());
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        // What it starts is in its group, too.
        process_.setChildProcessModifier([] { setpgid(0, 0); });
        process_.start(QStringLiteral(VELMO_EXECUTABLE), {QStringLiteral("--background")});
        ASSERT_TRUE(process_.waitForStarted());
        ASSERT_TRUE(awaitCondition([this] { return !host_.items().isEmpty(); }));
    }
    void TearDown() override { display().stopWindowManager(); }

    void quit()
    {
        const auto group = static_cast<pid_t>(-process_.processId());
        ASSERT_EQ(kill(group, 0), 0);
        ASSERT_TRUE(host_.choose(QStringLiteral("Quit Velmo")));
        ASSERT_TRUE(awaitCondition([this] { return process_.state() == QProcess::NotRunning; }));
        EXPECT_EQ(process_.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process_.exitCode(), 0);
        EXPECT_FALSE(host_.property(QStringLiteral("Id")).isValid());
        // What it started would have been left to somebody else, and keeps its group.
        EXPECT_TRUE(kill(group, 0) != 0 && errno == ESRCH);
        EXPECT_TRUE(holdsHotkey(false));
    }

    /// Whether somebody has reserved the hotkey. The test takes it for a moment.
    [[nodiscard]] bool holdsHotkey(bool expected)
    {
        return awaitCondition([&] {
            const auto key = input_.keyCode("space");
            constexpr uint16_t kCombination = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1;
            const XcbPointer<xcb_generic_error_t> refusal(xcb_request_check(
                eye_->get(), xcb_grab_key_checked(eye_->get(), 0, eye_->root(), kCombination, key,
                                                  XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)));
            if (!refusal)
                xcb_ungrab_key(eye_->get(), key, eye_->root(), kCombination);
            eye_->sync();
            return (refusal != nullptr) == expected;
        });
    }

    TrayHost host_{buses().sessionAddress()};
    QProcess process_;
    InputDriver input_;
    std::unique_ptr<X11Connection> eye_ = X11Connection::open();
};

TEST_F(MenuProcess, QuitLeavesNothingRunning)
{
    ASSERT_TRUE(holdsHotkey(true));
    quit();
}

TEST_F(MenuProcess, QuitDuringADrawingLeavesTheKeyboardToWhoHadIt)
{
    PlainClient application{{}};
    ASSERT_TRUE(awaitCondition([&] { return application.hasFocus(); }));
    ASSERT_TRUE(holdsHotkey(true));
    const auto isFree = [this] {
        const auto reply = eye_->await(xcb_grab_keyboard_reply,
                                       xcb_grab_keyboard(eye_->get(), 0, eye_->root(), XCB_CURRENT_TIME,
                                                         XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        const bool isOurs = reply && reply->status == XCB_GRAB_STATUS_SUCCESS;
        if (isOurs)
            xcb_ungrab_keyboard(eye_->get(), XCB_CURRENT_TIME);
        eye_->sync();
        return isOurs;
    };
    ASSERT_TRUE(host_.choose(kAnnotate));
    ASSERT_TRUE(awaitCondition([&] { return !isFree(); })) << "the drawing does not hold the keyboard";
    quit();
    EXPECT_TRUE(isFree());
    EXPECT_TRUE(awaitCondition([&] { return application.hasFocus(); }));
    input_.tap("F9");
    EXPECT_TRUE(awaitCondition(
        [&] { return application.count(PlainClient::Event::Type::KeyPress, input_.keyCode("F9")) == 1; }));
}

} // namespace
} // namespace velmo::test
