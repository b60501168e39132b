#include "e2e/ProgramDesk.h"
#include "markdown/MarkdownRules.h"
#include "panel/AttachmentThumbnailButton.h"
#include "panel/AutoSizingTextView.h"
#include "panel/ModelPillButton.h"
#include "panel/QueryChatMessageView.h"
#include "panel/QueryInputPanel.h"
#include "panel/QueryPanelContentView.h"
#include "panel/TranscriptScrollView.h"
#include "support/widgets/ShownWidgets.h"

#include <QClipboard>
#include <QMenu>
#include <QScrollBar>
#include <algorithm>

namespace velmo::test {
namespace {

/// A chat with its panel through the whole program, with a compositor and without.
class PanelJob : public ProgramDesk, public testing::WithParamInterface<bool> {
protected:
    void SetUp() override
    {
        ProgramDesk::SetUp();
        if (GetParam()) {
            ASSERT_TRUE(display().startCompositor());
        }
        startProgram();
    }

    void beginByHotkey()
    {
        input_.chord({"Control_L", "Alt_L", "space"});
        ASSERT_TRUE(awaitCondition([] { return overlayIsUp(); }));
    }
    void circleOnTheOverlay(std::size_t messagesAfter)
    {
        circle(desk_->target());
        ASSERT_TRUE(awaitState(SessionState::Querying, messagesAfter));
    }
    void circleUnderTheChord(std::size_t messagesAfter)
    {
        input_.hold({"Alt_L", "Super_L"});
        circle(desk_->target(), 1, [this] { return session().state().value() == SessionState::Drawing; });
        input_.letGo({"Alt_L", "Super_L"});
        ASSERT_TRUE(awaitState(SessionState::Querying, messagesAfter));
    }
    void openPanel()
    {
        beginByHotkey();
        circleOnTheOverlay(1);
        ASSERT_TRUE(awaitQuestionField());
    }

    [[nodiscard]] static QTextEdit& field() { return *shownWidgets<QTextEdit>().at(0); }
    [[nodiscard]] const QList<ChatMessage>& messages() const { return session().chatMessages().messages(); }
    [[nodiscard]] const AutoSizingTextView& shownMessage(qsizetype message) const
    {
        return shownWidgets<TranscriptScrollView>().at(0)->row(messages().at(message).id)->textView();
    }
    [[nodiscard]] static std::u16string shownText(const AutoSizingTextView& view)
    {
        return view.layoutOfText().text().text;
    }

    void clickOn(const QWidget& widget)
    {
        const QPoint at = widget.mapToGlobal(widget.rect().center());
        input_.moveTo(at.x(), at.y());
        input_.click(1);
    }
    /// The panel is as high as it is going to be, so that its parts stay where they are.
    [[nodiscard]] static bool awaitStill()
    {
        int height = 0;
        QElapsedTimer still;
        still.start();
        return awaitCondition([&] {
            const auto contents = shownWidgets<QueryPanelContentView>();
            const int now = contents.empty() ? 0 : contents.front()->height();
            if (std::exchange(height, now) != now)
                still.restart();
            return still.elapsed() > 200;
        });
    }
    [[nodiscard]] static QWidget* preview()
    {
        const auto windows = QApplication::topLevelWidgets();
        for (QWidget* window : windows) {
            if (window->isVisible() && window->windowTitle() == QStringLiteral("Screenshot"))
                return window;
        }
        return nullptr;
    }

    /// What is typed is the application's again.
    void expectTheKeyboardBack()
    {
        ASSERT_TRUE(awaitState(SessionState::Idle, 0));
        ASSERT_TRUE(awaitCondition([] { return !overlayIsUp() && !isUp<QueryInputPanel>(); }));
        const int before = receivedLetters_;
        EXPECT_TRUE(awaitCondition([&] {
            input_.tap("z");
            return awaitCondition([&] { return desk_->letters() > before; }, std::chrono::milliseconds(100));
        }));
        receivedLetters_ = desk_->letters();
    }

    int receivedLetters_ = 0;
};

TEST_P(PanelJob, TypesPastesStreamsAndFollowsUp)
{
    openPanel();
    type("a");
    input_.chord({"Shift_L", "Return"});
    type("b");
    EXPECT_TRUE(awaitCondition([] { return field().toPlainText() == QStringLiteral("a\nb"); }));

    const QString pasted = QStringLiteral("a line of a log\n").repeated(10'000);
    QGuiApplication::clipboard()->setText(pasted);
    input_.chord({"Control_L", "a"});
    input_.chord({"Control_L", "v"});
    ASSERT_TRUE(awaitCondition([&] { return field().toPlainText() == pasted; }));

    QStringList pieces;
    for (int piece = 0; piece < 2'000; ++piece)
        pieces.append(QStringLiteral("w%1 **b%1** `c`%2")
                          .arg(piece)
                          .arg(piece % 7 == 0 ? QStringLiteral("\n") : QStringLiteral(" ")));
    practice_.setPieces(pieces);
    practice_.setScenario({.kind = practice::ScenarioKind::Pieces});
    input_.tap("Return");
    ASSERT_TRUE(awaitState(SessionState::Querying, 3));
    EXPECT_EQ(messages().at(1).text, pasted.trimmed());
    EXPECT_EQ(messages().at(2).text, pieces.join(QString()));
    EXPECT_TRUE(awaitCondition([&] {
        return shownText(shownMessage(2)) == markdown::render(messages().at(2).text.toStdU16String()).text;
    }));
    EXPECT_TRUE(awaitCondition([this] { return shownMessage(1).layoutOfText().isLaidOut(); }));
    EXPECT_TRUE(awaitCondition([] {
        const QScrollBar& bar = *shownWidgets<TranscriptScrollView>().at(0)->verticalScrollBar();
        return bar.maximum() > 0 && bar.value() == bar.maximum();
    }));

    practice_.setScenario({.kind = practice::ScenarioKind::Answer});
    ask("more", 5);
    EXPECT_TRUE(messages().at(4).text.contains(QStringLiteral("turn 2")));
    input_.tap("Escape");
    expectTheKeyboardBack();
}

TEST_P(PanelJob, MorePicturesAreTakenRemovedAndLookedAt)
{
    openPanel();
    ask("why", 3);
    beginByHotkey();
    circleOnTheOverlay(4);
    ASSERT_TRUE(awaitQuestionField());
    circleUnderTheChord(5);
    ASSERT_TRUE(awaitQuestionField());

    // The one that was taken last goes.
    ASSERT_TRUE(awaitStill());
    const auto removes = shownWidgets<RoundIconButton>();
    const auto lowest = std::ranges::max_element(
        removes, {}, [](const QWidget* button) { return button->mapToGlobal(QPoint()).y(); });
    ASSERT_NE(lowest, removes.end());
    clickOn(**lowest);
    ASSERT_TRUE(awaitState(SessionState::Querying, 4));
    EXPECT_EQ(logCount(QStringLiteral("Additional capture attachment removed by user")), 1);

    // The other one opens, and closes without an end of the session.
    ASSERT_TRUE(awaitStill());
    const auto thumbnails = shownWidgets<AttachmentThumbnailButton>();
    const auto last = std::ranges::max_element(
        thumbnails, {}, [](const QWidget* button) { return button->mapToGlobal(QPoint()).y(); });
    clickOn(**last);
    ASSERT_TRUE(awaitCondition([] { return preview() != nullptr && preview()->isActiveWindow(); }));
    input_.tap("Escape");
    ASSERT_TRUE(awaitCondition([] { return preview() == nullptr; }));
    EXPECT_EQ(session().state().value(), SessionState::Querying);
    ASSERT_TRUE(awaitQuestionField());

    ask("more", 6);
    EXPECT_EQ(practice_.requests().size(), 2);
    input_.tap("Escape");
    expectTheKeyboardBack();
}

TEST_P(PanelJob, EscapeEndsItAtAnyMoment)
{
    beginByHotkey();
    input_.tap("Escape");
    expectTheKeyboardBack();

    // As soon as the panel comes.
    beginByHotkey();
    circle(desk_->target());
    ASSERT_TRUE(awaitCondition([] { return isUp<QueryInputPanel>(); }));
    input_.tap("Escape");
    expectTheKeyboardBack();

    openPanel();
    type("typed");
    input_.tap("Escape");
    expectTheKeyboardBack();

    practice_.setPieces({QStringLiteral("piece ")});
    practice_.setScenario({.kind = practice::ScenarioKind::SlowDrip});
    openPanel();
    type("why");
    input_.tap("Return");
    ASSERT_TRUE(
        awaitCondition([this] { return messages().size() == 3 && !messages().at(2).text.isEmpty(); }));
    input_.tap("Escape");
    expectTheKeyboardBack();
    practice_.setScenario({.kind = practice::ScenarioKind::Answer});

    openPanel();
    ask("why", 3);
    input_.tap("Escape");
    expectTheKeyboardBack();

    // While another picture is drawn it only ends the drawing.
    openPanel();
    ask("why", 3);
    beginByHotkey();
    input_.tap("Escape");
    ASSERT_TRUE(awaitState(SessionState::Querying, 3));
    ASSERT_TRUE(awaitQuestionField());
    input_.tap("Escape");
    expectTheKeyboardBack();
}

TEST_P(PanelJob, TheModelIsChosenByKeyboard)
{
    openPanel();
    const QString before = settings_->openAIModel.value();
    input_.tap("Tab");
    ASSERT_TRUE(awaitCondition([] { return dynamic_cast<ModelPillButton*>(QApplication::focusWidget()); }));
    input_.tap("space");
    ASSERT_TRUE(awaitCondition([] { return !shownWidgets<QMenu>().empty(); }));
    input_.tap("Down");
    input_.tap("Return");
    ASSERT_TRUE(awaitCondition([] { return shownWidgets<QMenu>().empty(); }));
    EXPECT_EQ(settings_->openAIModel.value(), QStringLiteral("gpt-5.4"));
    // The keyboard is where it was, and what is typed is the question.
    type("x");
    EXPECT_TRUE(awaitCondition([] { return field().toPlainText() == QStringLiteral("x"); }));
    input_.tap("Escape");
    expectTheKeyboardBack();
    settings_->openAIModel.set(before);
}

TEST_P(PanelJob, EscapeInTheMenuClosesTheMenuAlone)
{
    openPanel();
    ask("why", 3);
    ASSERT_TRUE(awaitStill());
    clickOn(*shownWidgets<ModelPillButton>().at(0));
    ASSERT_TRUE(awaitCondition([] { return !shownWidgets<QMenu>().empty(); }));
    input_.tap("Escape");
    ASSERT_TRUE(awaitCondition([] { return shownWidgets<QMenu>().empty(); }));
    EXPECT_EQ(session().state().value(), SessionState::Querying);
    ASSERT_TRUE(awaitQuestionField());
    type("x");
    EXPECT_TRUE(awaitCondition([] { return field().toPlainText() == QStringLiteral("x"); }));
    input_.tap("Escape");
    expectTheKeyboardBack();
}

INSTANTIATE_TEST_SUITE_P(Desktops, PanelJob, testing::Bool(), [](const auto& desktop) {
    return desktop.param ? "WithACompositor" : "WithoutACompositor";
});

} // namespace
} // namespace velmo::test
