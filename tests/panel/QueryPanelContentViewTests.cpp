#include "panel/PanelTest.h"

#include <QElapsedTimer>

namespace velmo {
namespace {

QRect placeIn(const QWidget& widget, const QWidget& ancestor)
{
    return {widget.mapTo(&ancestor, QPoint()), widget.size()};
}

class QueryPanelContent : public PanelTest {
protected:
    [[nodiscard]] QRect place(const QWidget& part) const { return placeIn(part, *scene->content); }
    [[nodiscard]] QLabel& label(const QString& content) const
    {
        for (QLabel* candidate : widgetsIn<QLabel>(*scene->content)) {
            if (candidate->text() == content)
                return *candidate;
        }
        throw std::runtime_error("no such label");
    }
    [[nodiscard]] RoundedBackgroundView& container() const
    {
        return dynamic_cast<RoundedBackgroundView&>(*field().parentWidget());
    }
};

TEST_F(QueryPanelContent, WithoutMessagesAsksForInputAndFooter)
{
    removeCapture();
    EXPECT_EQ(scene->requestedHeight, 88 + 42);
    EXPECT_FALSE(transcript().isVisible());
}

TEST_F(QueryPanelContent, GrowsWithTheFieldAndNoFurtherThanItsLimit)
{
    removeCapture();
    text().setPlainText(QStringLiteral("one\ntwo"));
    const int two = field().currentIntrinsicHeight();
    EXPECT_EQ(scene->requestedHeight, two + 60 + 42);
    text().setPlainText(QStringLiteral("line\n").repeated(40));
    EXPECT_EQ(scene->requestedHeight, 92 + 60 + 42);
}

TEST_F(QueryPanelContent, ALongTranscriptStopsGrowingAt456)
{
    deliverCapture();
    converse(QStringLiteral("Why?"), QStringLiteral("A line.\n").repeated(200));
    EXPECT_EQ(scene->requestedHeight, 586);
    EXPECT_EQ(transcript().height(), 456);
    text().setPlainText(QStringLiteral("line\n").repeated(40));
    EXPECT_EQ(scene->requestedHeight, 456 + 152 + 42);
}

TEST_F(QueryPanelContent, AShortTranscriptIsAsHighAsItsRowsAndInsets)
{
    deliverCapture({160, 90});
    EXPECT_EQ(scene->requestedHeight, 88 + 42 + (124 + 28));
    EXPECT_EQ(transcript().height(), 124 + 28);
}

TEST_F(QueryPanelContent, PartsHaveTheirPlaces)
{
    useMicrophone();
    removeCapture();
    EXPECT_EQ(place(container()), QRect(24, 8, 572, 72));
    EXPECT_EQ(placeIn(field(), container()), QRect(14, 10, 544, 28));
    const ModelPillButton& pill = widget<ModelPillButton>();
    EXPECT_EQ(placeIn(pill, container()).left(), 10);
    EXPECT_EQ(pill.height(), 22);
    EXPECT_EQ(placeIn(pill, container()).center().y(), 72 - 6 - 12 - 1);
    EXPECT_EQ(placeIn(sendButton(), container()), QRect(572 - 10 - 22, 72 - 6 - 24 + 1, 22, 22));
    EXPECT_EQ(placeIn(widget<HoldToRecordButton>(), container()),
              QRect(572 - 10 - 22 - 6 - 20, 72 - 6 - 24 + 2, 20, 20));
    const TextButton& cancel = widget<TextButton>();
    EXPECT_EQ(place(cancel).left(), 14);
    EXPECT_NEAR(place(cancel).center().y(), 130 - 21, 1);
}

TEST_F(QueryPanelContent, WhatIsAtTheBottomStaysThereWhileTheCardGrows)
{
    deliverCapture();
    const auto fromBottom = [this] {
        return scene->content->height() - place(widget<TextButton>()).bottom();
    };
    const auto pillFromBottom = [this] {
        return scene->content->height() - place(widget<ModelPillButton>()).bottom();
    };
    const int cancel = fromBottom();
    const int pill = pillFromBottom();
    for (const int height : {130, 137, 161, 200, 282}) {
        scene->content->resize(620, height);
        EXPECT_EQ(fromBottom(), cancel) << height;
        EXPECT_EQ(pillFromBottom(), pill) << height;
    }
}

TEST_F(QueryPanelContent, TheMicrophoneIsThereWithAServiceOnly)
{
    EXPECT_FALSE(widget<HoldToRecordButton>().isVisible());
    useMicrophone();
    EXPECT_TRUE(widget<HoldToRecordButton>().isVisible());
}

TEST_F(QueryPanelContent, SendingNeedsTextAPictureAndNoAnswerUnderWay)
{
    // preparing, without text
    EXPECT_FALSE(sendButton().isEnabled());
    EXPECT_EQ(sendButton().tint(), QueryPanelTheme::dimText());
    text().setPlainText(QStringLiteral("Why?"));
    EXPECT_FALSE(sendButton().isEnabled()) << "the picture is being prepared";
    deliverCapture();
    EXPECT_TRUE(sendButton().isEnabled());
    EXPECT_EQ(sendButton().tint(), QueryPanelTheme::accent());
    text().setPlainText(QStringLiteral(" \n "));
    EXPECT_FALSE(sendButton().isEnabled());
    text().setPlainText(QStringLiteral("Why?"));
    scene->ask(QStringLiteral("Other"));
    EXPECT_FALSE(sendButton().isEnabled()) << "an answer is streaming";
    scene->finish();
    EXPECT_TRUE(sendButton().isEnabled());
    scene->session.beginAdditionalCapture(true);
    scene->session.noteDrawingBegan({1, 1});
    scene->session.advanceToQuery();
    settle();
    EXPECT_FALSE(sendButton().isEnabled()) << "another picture is being prepared";
}

TEST_F(QueryPanelContent, SubmittingClearsTheFieldAndSaysHowLongTheQuestionWas)
{
    deliverCapture();
    text().setPlainText(QStringLiteral("  Was für ein 👍🏽?\n"));
    log.take();
    pressKey(text(), Qt::Key_Return);
    EXPECT_EQ(text().toPlainText(), QString());
    settle();
    EXPECT_TRUE(log.take().contains(QStringLiteral("[QueryPanel] Submit triggered queryLength=14")));
    ASSERT_EQ(scene->provider.requests.size(), 1U);
    EXPECT_EQ(scene->provider.requests.back().messages.back().text, QStringLiteral("Was für ein 👍🏽?"));
}

TEST_F(QueryPanelContent, TheSendButtonSubmitsToo)
{
    deliverCapture();
    text().setPlainText(QStringLiteral("Why?"));
    sendButton().click();
    settle();
    EXPECT_EQ(scene->provider.requests.size(), 1U);
}

TEST_F(QueryPanelContent, AnEmptyQuestionIsNotSent)
{
    deliverCapture();
    text().setPlainText(QStringLiteral(" \n "));
    log.take();
    pressKey(text(), Qt::Key_Return);
    settle();
    EXPECT_EQ(scene->provider.requests.size(), 0U);
    EXPECT_EQ(text().toPlainText(), QStringLiteral(" \n "));
    EXPECT_TRUE(log.take().filter(QStringLiteral("Submit triggered")).isEmpty());
}

TEST_F(QueryPanelContent, ReturnSubmitsWhileTheFirstPictureIsPreparedAndWaitsForIt)
{
    text().setPlainText(QStringLiteral("Why?"));
    pressKey(text(), Qt::Key_Return);
    settle();
    EXPECT_EQ(scene->provider.requests.size(), 0U);
    deliverCapture();
    EXPECT_EQ(scene->provider.requests.size(), 1U);
}

TEST_F(QueryPanelContent, CancelAndEscapeEndTheSession)
{
    widget<TextButton>().click();
    EXPECT_EQ(scene->session.state().value(), SessionState::Idle);
}

TEST_F(QueryPanelContent, EscapeInTheFieldEndsTheSession)
{
    pressKey(text(), Qt::Key_Escape);
    EXPECT_EQ(scene->session.state().value(), SessionState::Idle);
}

TEST_F(QueryPanelContent, TheFieldCannotBeEditedWhileAnAnswerStreams)
{
    deliverCapture();
    EXPECT_FALSE(text().isReadOnly());
    scene->ask(QStringLiteral("Why?"));
    EXPECT_TRUE(text().isReadOnly());
    EXPECT_EQ(text().textInteractionFlags(), Qt::NoTextInteraction);
    scene->finish();
    EXPECT_FALSE(text().isReadOnly());
}

TEST_F(QueryPanelContent, TheFooterTellsThatThePictureIsPrepared)
{
    EXPECT_TRUE(label(QStringLiteral("Preparing screenshot…")).isVisible());
    EXPECT_TRUE(widget<SpinnerView>().isAnimating());
    EXPECT_FALSE(label(QStringLiteral("Transcribing…")).isVisible());
    EXPECT_EQ(place(label(QStringLiteral("Preparing screenshot…"))).right(), 619 - 14);
    deliverCapture();
    EXPECT_FALSE(label(QStringLiteral("Preparing screenshot…")).isVisible());
    EXPECT_FALSE(widget<SpinnerView>().isAnimating());
    EXPECT_FALSE(widget<SpinnerView>().isVisible());
}

TEST_F(QueryPanelContent, TheContainersBorderShowsWhoHasTheKeyboard)
{
    scene->content->activateWindow();
    scene->content->focusField();
    QApplication::setActiveWindow(scene->content.get());
    ASSERT_TRUE(turnUntil([this] { return text().hasFocus(); }));
    EXPECT_EQ(container().borderColor(), QueryPanelTheme::focusedBorder());
    widget<TextButton>().setFocus(Qt::TabFocusReason);
    EXPECT_EQ(container().borderColor(), QueryPanelTheme::subtleBorder());
}

TEST_F(QueryPanelContent, TheFieldGetsTheKeyboard320MillisecondsAfterTheBeginning)
{
    QElapsedTimer sinceBeginning;
    sinceBeginning.start();
    scene = std::make_unique<PanelScene>();
    scene->show();
    const auto& timer = *scene->content->findChild<QTimer*>(QStringLiteral("firstFocus"));
    EXPECT_EQ(timer.intervalAsDuration(), std::chrono::milliseconds(320));
    EXPECT_TRUE(timer.isSingleShot());
    QApplication::setActiveWindow(scene->content.get());
    widget<TextButton>().setFocus();
    ASSERT_FALSE(text().hasFocus());
    EXPECT_TRUE(turnUntil([this] { return text().hasFocus(); }));
    // The toolkit's clock may be early by a twentieth.
    EXPECT_GE(sinceBeginning.elapsed(), 320 * 19 / 20);
    EXPECT_FALSE(timer.isActive());
}

TEST_F(QueryPanelContent, TheFieldOfAHiddenPanelDoesNotTakeTheKeyboard)
{
    scene = std::make_unique<PanelScene>();
    const auto& timer = *scene->content->findChild<QTimer*>(QStringLiteral("firstFocus"));
    widget<TextButton>().setFocus();
    ASSERT_TRUE(turnUntil([&] { return !timer.isActive(); }));
    EXPECT_EQ(scene->content->focusWidget(), &widget<TextButton>());
}

TEST_F(QueryPanelContent, TheContainersBorderIsRightInAWindowThatIsNotTheActiveOne)
{
    QApplication::setActiveWindow(nullptr);
    ASSERT_EQ(container().borderColor(), QueryPanelTheme::subtleBorder());
    scene->content->focusField();
    ASSERT_EQ(QApplication::focusWidget(), nullptr);
    EXPECT_EQ(container().borderColor(), QueryPanelTheme::focusedBorder());
}

TEST_F(QueryPanelContent, WhatIsTypedOverAControlGoesToTheQuestion)
{
    QApplication::setActiveWindow(scene->content.get());
    TextButton& cancel = widget<TextButton>();
    cancel.setFocus(Qt::TabFocusReason);
    pressKey(cancel, Qt::Key_A, Qt::NoModifier, QStringLiteral("a"));
    EXPECT_EQ(text().toPlainText(), QStringLiteral("a"));
    EXPECT_TRUE(text().hasFocus());
}

TEST_F(QueryPanelContent, NothingHappensAfterItIsDetached)
{
    deliverCapture();
    scene->content->detach();
    scene->ask(QStringLiteral("Why?"));
    turnFor(std::chrono::milliseconds(40));
    EXPECT_EQ(transcript().row(messages().back().id), nullptr);
    scene->session.cancel();
    settle();
    SUCCEED();
}

} // namespace
} // namespace velmo
