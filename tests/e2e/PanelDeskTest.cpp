#include "e2e/PanelDesk.h"

#include "panel/AttachmentThumbnailButton.h"
#include "support/x11/Painting.h"
#include "support/x11/SplitMonitors.h"

#include <QBuffer>
#include <QImage>

namespace velmo::test {
namespace {

QString lettersTyped(int count)
{
    QString letters;
    for (int letter = 0; letter < count; ++letter)
        letters += QLatin1Char(Typist::letterAt(letter));
    return letters;
}

TEST_P(PanelDesk, KeysTypedAcrossTheChangeFromOverlayToPanelAllArriveInOrder)
{
    constexpr int kLetters = 250;
    startDesktop(FocusPolicy::Click);
    begin(true);
    input_.moveTo(300, 300);
    input_.pressButton(1);
    input_.moveTo(400, 350);
    const Typist typist(kLetters, [](InputDriver& hand) { hand.releaseButton(1); });
    EXPECT_TRUE(awaitCondition([&] { return typist.isDone() && typedText().size() >= kLetters; }));
    EXPECT_EQ(typedText(), lettersTyped(kLetters));
    EXPECT_EQ(keysIn(*application_), 0);
}

TEST_P(PanelDesk, EscapeGivesTheFocusBackWhereverThePointerIs)
{
    startDesktop(FocusPolicy::Click);
    openPanel(centreOf(*other_));
    input_.tap("Escape");
    EXPECT_TRUE(awaitCondition([] { return panel() == nullptr; }));
    EXPECT_EQ(escapesLogged(), 1) << "the overlay is still there and takes the key";
    EXPECT_TRUE(focusSettlesIn(*application_));
    input_.tap("b");
    EXPECT_TRUE(awaitCondition([this] { return keysIn(*application_) == 1; }));
}

TEST_P(PanelDesk, EscapeAfterAnAnswerIsThePanelsOwn)
{
    startDesktop(FocusPolicy::Click);
    openPanel(centreOf(*other_));
    askAndAnswer();
    ASSERT_TRUE(focusSettlesInPanel());
    input_.tap("Escape");
    EXPECT_TRUE(awaitCondition([] { return panel() == nullptr; }));
    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_EQ(escapesLogged(), 0);
    EXPECT_TRUE(focusSettlesIn(*application_));
}

TEST_P(PanelDesk, GoesWithItsFieldToTheScreenThatIsLeft)
{
    startDesktop(FocusPolicy::Click);
    auto monitors = std::make_unique<SplitMonitors>();
    ASSERT_TRUE(monitors->awaitToolkit());
    openPanel(SplitMonitors::kEast.center());
    const auto card = [] { return panel()->cardFrame().translated(panel()->pos()); };
    ASSERT_TRUE(SplitMonitors::kEast.contains(card()));
    monitors.reset();
    const QRect whole(0, 0, 1920, 1080);
    EXPECT_TRUE(awaitCondition([&] {
        return whole.contains(card()) && card().center().x() == whole.center().x() &&
               card().bottom() > SplitMonitors::kEast.bottom();
    })) << card().x()
        << ' ' << card().y();
    EXPECT_TRUE(focusSettlesInPanel());
    expectNextKeyInPanel("a");
}

TEST_P(PanelDesk, EscapeInThePreviewOfTheFirstPictureCancelsTheSession)
{
    startDesktop(FocusPolicy::Click);
    QImage image(320, 180, QImage::Format_RGB32);
    image.fill(Qt::blue);
    QBuffer buffer(&picture);
    image.save(&buffer, "PNG");
    openPanel(centreOf(*other_));
    const auto thumbnail = [] {
        const auto found = shownWidgets<AttachmentThumbnailButton>();
        return found.empty() ? nullptr : found.front();
    };
    // The card grows to make room for it.
    ASSERT_TRUE(settlesTrue([&] { return thumbnail() != nullptr; }));
    const auto isPreviewActive = [] {
        const QWidget* active = QApplication::activeWindow();
        return active != nullptr && active != panel() && active->isVisible();
    };
    click(thumbnail()->mapToGlobal(QPoint(10, thumbnail()->height() / 2)));
    ASSERT_TRUE(awaitCondition(isPreviewActive));
    input_.tap("Escape");
    EXPECT_TRUE(awaitCondition([&] { return panel() == nullptr && !isPreviewActive(); }));
    EXPECT_EQ(state(), SessionState::Idle);
    EXPECT_EQ(escapesLogged(), 1);
    EXPECT_TRUE(focusSettlesIn(*application_));
}

TEST_P(PanelDesk, KeysTypedAfterEscapeAreOnlyLostWhileThePanelFades)
{
    constexpr int kLetters = 1000;
    startDesktop(FocusPolicy::Click);
    startCompositor();
    openPanel(centreOf(*application_));
    ASSERT_TRUE(focusSettlesInPanel());
    const Typist typist(kLetters, [](InputDriver& hand) { hand.tap("Escape"); });
    EXPECT_TRUE(awaitCondition([] { return panel() == nullptr; }));
    const int sentUntilGone = typist.sent();
    EXPECT_TRUE(awaitCondition([&] { return typist.isDone(); }));
    EXPECT_TRUE(awaitCondition([&] {
        const auto last = input_.keyCode(std::string(1, Typist::letterAt(kLetters - 1)).c_str());
        const auto events = application_->events();
        return !events.empty() && events.back().type == Type::KeyRelease && events.back().detail == last;
    }));
    std::vector<int> received;
    for (const auto& event : application_->events()) {
        if (event.type == Type::KeyPress)
            received.push_back(event.detail);
    }
    // From the first that arrived on, none is missing.
    const int lost = kLetters - static_cast<int>(received.size());
    // The next letter may have been sent without being counted yet.
    ASSERT_LE(lost, sentUntilGone + 1);
    for (int i = 0; i < static_cast<int>(received.size()); ++i)
        ASSERT_EQ(received[static_cast<std::size_t>(i)],
                  input_.keyCode(std::string(1, Typist::letterAt(lost + i)).c_str()))
            << "letter " << lost + i;
    RecordProperty("KeysTypedWhileFading", lost);
    EXPECT_EQ(keysIn(*other_), 0);
}

TEST_P(PanelDesk, KeepsTheKeyboardWhenTheDesktopIsSwitched)
{
    startDesktop(FocusPolicy::Click);
    openPanel(centreOf(*application_));
    askAndAnswer();
    switchDesktop(1);
    EXPECT_TRUE(focusSettlesInPanel());
    expectNextKeyInPanel("x");
    switchDesktop(0);
    EXPECT_TRUE(focusSettlesInPanel());
    expectNextKeyInPanel("y");
    EXPECT_EQ(keysIn(*application_), 0);
}

TEST_P(PanelDesk, KeepsTheKeyboardAtTheEndOfTheOverlayWhenFocusFollowsTheMouse)
{
    startDesktop(FocusPolicy::FollowsMouse);
    hoverOver(*other_);
    hoverOver(*application_);
    // The pointer is over an application when the overlay between them goes.
    openPanel(centreOf(*other_));
    askAndAnswer();
    EXPECT_TRUE(focusSettlesInPanel());
    expectNextKeyInPanel("x");
    EXPECT_EQ(keysIn(*other_) + keysIn(*application_), 0);
    // Whom the window manager had chosen for a moment is not where the user was.
    input_.tap("Escape");
    EXPECT_TRUE(awaitCondition([] { return panel() == nullptr; }));
    EXPECT_TRUE(focusSettlesIn(*application_));
}

TEST_P(PanelDesk, LeavesTheKeyboardWhereTheUserClicksAndTakesItBackOnAClick)
{
    startDesktop(FocusPolicy::Click);
    openPanel(centreOf(*application_));
    askAndAnswer();
    // Right after the overlay's end, when a loss would else be undone, and faster than anybody could look.
    clickInto(*other_);
    EXPECT_TRUE(focusSettlesIn(*other_)) << "the panel has it: " << panelHasFocus()
                                         << ", presses that arrived: " << other_->count(Type::ButtonPress, 1);
    input_.tap("o");
    EXPECT_TRUE(awaitCondition([this] { return keysIn(*other_) == 1; }));

    // The field takes the press for itself; the window must still learn of it.
    click(centreOfField());
    EXPECT_TRUE(focusSettlesInPanel());
    expectNextKeyInPanel("p");
    EXPECT_EQ(keysIn(*other_), 1);
}

TEST_P(PanelDesk, ClosingLeavesTheKeyboardWhereTheUserPutIt)
{
    startDesktop(FocusPolicy::Click);
    openPanel(centreOf(*application_));
    askAndAnswer();
    clickInto(*other_);
    ASSERT_TRUE(focusSettlesIn(*other_));
    session->cancel();
    EXPECT_TRUE(awaitCondition([] { return panel() == nullptr; }));
    EXPECT_TRUE(focusSettlesIn(*other_));
}

TEST_P(PanelDesk, AHintBorrowsTheKeyboardForTheApplication)
{
    startDesktop(FocusPolicy::Click);
    openPanel(centreOf(*other_));
    askAndAnswer();
    ASSERT_TRUE(focusSettlesInPanel());
    session->hideChatForHint();
    EXPECT_TRUE(awaitCondition([this] { return inputFocus() == application_->window(); }));
    session->restoreChatAfterHint();
    EXPECT_TRUE(focusSettlesInPanel());
    expectNextKeyInPanel("h");
}

TEST_P(PanelDesk, TheKeyboardIsThePanelsAsSoonAsAnotherWindowOfOursCloses)
{
    startDesktop(FocusPolicy::Click);
    openPanel(centreOf(*application_));
    askAndAnswer();
    QWidget window;
    window.resize(300, 200);
    window.show();
    window.activateWindow();
    ASSERT_TRUE(awaitCondition([&] { return inputFocus() == idOf(&window) && window.isActiveWindow(); }));
    // A window manager may give it the keyboard twice: for appearing, and for asking.
    ASSERT_TRUE(awaitPainting(*eye_));
    window.close();
    // At once, and not after whoever the window manager chooses. Some choose for a window that had not got
    // the keyboard any more, too.
    if (GetParam() == QStringLiteral("openbox")) {
        EXPECT_TRUE(panelHasFocus());
    }
    EXPECT_TRUE(focusSettlesInPanel());
    expectNextKeyInPanel("w");
}

TEST_P(PanelDesk, KeysTypedAcrossTheEndOfAnotherCaptureAllArriveInOrder)
{
    constexpr int kLetters = 100;
    startDesktop(FocusPolicy::Click);
    openPanel(centreOf(*application_));
    askAndAnswer();
    session->beginAdditionalCapture(false);
    ASSERT_TRUE(awaitCondition([] { return !surfaces().empty() && surfaces().front()->isVisible(); }));
    input_.moveTo(300, 300);
    input_.pressButton(1);
    input_.moveTo(400, 350);
    // What was typed before went to the application, which had the keyboard until the overlay took it.
    const int before = keysIn(*application_);
    const Typist typist(kLetters, [](InputDriver& hand) { hand.releaseButton(1); });
    EXPECT_TRUE(awaitCondition([&] { return typist.isDone() && typedText().size() >= kLetters; }));
    EXPECT_EQ(typedText(), lettersTyped(kLetters));
    EXPECT_EQ(keysIn(*application_), before);
}

/// Nobody but us moves the focus there.
class PanelWithoutManager : public PanelDesk {
protected:
    void SetUp() override
    {
        PlainClient::Options options;
        options.processID = getppid();
        application_ = std::make_unique<PlainClient>(options);
        application_->takeFocus();
        openPanel({700, 600});
    }
};

TEST_P(PanelWithoutManager, TheKeyboardGoesStraightBackAfterEscape)
{
    input_.tap("Escape");
    EXPECT_TRUE(awaitCondition([] { return panel() == nullptr; }));
    // At once, and not when the session restores what was focused.
    EXPECT_EQ(inputFocus(), application_->window());
    input_.tap("b");
    EXPECT_TRUE(awaitCondition([this] { return keysIn(*application_) == 1; }));
}

TEST_P(PanelWithoutManager, TheKeyboardGoesStraightBackForAHint)
{
    askAndAnswer();
    session->hideChatForHint();
    EXPECT_EQ(inputFocus(), application_->window());
}

TEST_P(PanelWithoutManager, TheKeyboardGoesToWhoHadItBeforeSomebodyWhoHasGone)
{
    askAndAnswer();
    {
        PlainClient visitor({});
        // Long after the overlay's end a loss is nobody's accident.
        ASSERT_TRUE(focusSettlesInPanel());
        visitor.takeFocus();
        ASSERT_TRUE(awaitCondition([] { return !QApplication::activeWindow(); }));
        click(centreOfField());
        ASSERT_TRUE(awaitCondition([this] { return panelHasFocus(); }));
    }
    session->hideChatForHint();
    EXPECT_EQ(inputFocus(), application_->window());
}

INSTANTIATE_TEST_SUITE_P(NoWindowManager, PanelWithoutManager, testing::Values(QStringLiteral("none")),
                         [](const auto& manager) { return manager.param.toStdString(); });

/// Pixels of the screen's middle column around the panel's bottom edge, taken as fast as the server gives
/// them while something goes on.
class EdgeSampler {
public:
    explicit EdgeSampler(QRect area)
        : thread_([this, area] {
            const auto connection = X11Connection::open();
            while (!isOver_) {
                const QImage now = readRootImage(*connection, area);
                ++samples_;
                if (reference_.isNull())
                    reference_ = now;
                else if (now != reference_)
                    ++deviations_;
            }
        })
    {}
    EdgeSampler(const EdgeSampler&) = delete;
    EdgeSampler& operator=(const EdgeSampler&) = delete;
    ~EdgeSampler()
    {
        isOver_ = true;
        if (thread_.joinable())
            thread_.join();
    }

    void stop()
    {
        isOver_ = true;
        thread_.join();
    }
    [[nodiscard]] int samples() const { return samples_; }
    /// After stop().
    [[nodiscard]] int deviations() const { return deviations_; }

private:
    std::atomic<bool> isOver_ = false;
    std::atomic<int> samples_ = 0;
    int deviations_ = 0;
    QImage reference_;
    std::thread thread_;
};

class GrowingPanel : public PanelDesk {
protected:
    void expectSteadyBottom()
    {
        openPanel(centreOf(*application_));
        ASSERT_TRUE(settlesTrue([this] { return panelHasFocus() && panel()->windowOpacity() == 1; }));
        const QRect frame = panel()->cardFrame().translated(panel()->pos());
        const QRect edge(frame.center().x(), frame.bottom() - 5, 1, 12);
        ASSERT_NE(readRootImage(*eye_, edge).pixel(0, 0), readRootImage(*eye_, edge).pixel(0, 11));
        EdgeSampler sampler(edge);
        ASSERT_TRUE(awaitCondition([&] { return sampler.samples() > 5; }));
        panel()->animateHeight(700);
        EXPECT_TRUE(awaitCondition([] { return panel()->cardFrame().height() == 700; }));
        panel()->animateHeight(130);
        EXPECT_TRUE(awaitCondition([] { return panel()->cardFrame().height() == 130; }));
        const int grown = sampler.samples();
        EXPECT_TRUE(awaitCondition([&] { return sampler.samples() > grown + 5; }));
        sampler.stop();
        EXPECT_GT(sampler.samples(), 50);
        EXPECT_EQ(sampler.deviations(), 0) << "of " << sampler.samples();
    }
};

TEST_P(GrowingPanel, NeverMovesItsBottomRowWithoutACompositor)
{
    startDesktop(FocusPolicy::Click);
    expectSteadyBottom();
}

TEST_P(GrowingPanel, NeverMovesItsBottomRowWithACompositor)
{
    startDesktop(FocusPolicy::Click);
    startCompositor();
    expectSteadyBottom();
}

const auto kWindowManagers =
    testing::ValuesIn(windowManagersToTest({QStringLiteral("openbox"), QStringLiteral("xfwm4")}));

std::string windowManagerName(const testing::TestParamInfo<QString>& info)
{
    return info.param.toStdString();
}

INSTANTIATE_TEST_SUITE_P(WindowManagers, PanelDesk, kWindowManagers, windowManagerName);
INSTANTIATE_TEST_SUITE_P(WindowManagers, GrowingPanel, kWindowManagers, windowManagerName);

} // namespace
} // namespace velmo::test
