#include "core/async/WorkerPool.h"
#include "panel/PanelTest.h"

#include <QElapsedTimer>
#include <QImageReader>
#include <QPainter>
#include <QScrollBar>
#include <QWheelEvent>

namespace velmo {
namespace {

class TranscriptRows : public PanelTest {
protected:
    [[nodiscard]] QScrollBar& bar() const { return *transcript().verticalScrollBar(); }
    [[nodiscard]] bool isAtEnd() const { return bar().value() == bar().maximum(); }
    void scrollUp()
    {
        QWheelEvent event(QPointF(10, 10), transcript().mapToGlobal(QPointF(10, 10)), QPoint(),
                          QPoint(0, 240), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(transcript().viewport(), &event);
    }
};

TEST_F(TranscriptRows, ThumbnailsFitTheirBoxAndAreNeverTooSmall)
{
    const auto size = [](double width, double height) {
        return AttachmentThumbnailButton::thumbnailSize({width, height});
    };
    const auto expectSize = [](QSizeF actual, double width, double height) {
        EXPECT_NEAR(actual.width(), width, 1e-9);
        EXPECT_NEAR(actual.height(), height, 1e-9);
    };
    expectSize(size(1000, 100), 220, 50);
    expectSize(size(1568, 882), 220, 123.75);
    expectSize(size(100, 1000), 80, 140);
    expectSize(size(10, 10), 140, 140); // Small ones grow.
    expectSize(size(11, 7), 220, 140);
    expectSize(size(0, 0), 80, 50);
    expectSize(size(0, 300), 80, 300);
}

TEST_F(TranscriptRows, ACaptureIsShownAtTheTrailingEdgeAndCanBeTakenAway)
{
    deliverCapture({1000, 100});
    const auto thumbnails = widgetsIn<AttachmentThumbnailButton>(row(0));
    ASSERT_EQ(thumbnails.size(), 1U);
    EXPECT_EQ(thumbnails[0]->size(), QSize(220, 50));
    EXPECT_EQ(thumbnails[0]->geometry().right() + 1, 572);
    const auto removes = widgetsIn<RoundIconButton>(row(0));
    ASSERT_EQ(removes.size(), 1U);
    EXPECT_EQ(removes[0]->geometry(), QRect(220 - 6 - 22, 6, 22, 22));
    EXPECT_EQ(removes[0]->toolTip(), QStringLiteral("Remove attachment"));
    EXPECT_EQ(removes[0]->accessibleName(), QStringLiteral("Remove"));
    log.take();
    removes[0]->click();
    EXPECT_TRUE(messages().isEmpty());
    EXPECT_TRUE(log.takeSession().contains(QStringLiteral("Initial capture attachment removed by user")));
    scene->fit();
    EXPECT_TRUE(transcript().isEmpty());
    EXPECT_EQ(scene->requestedHeight, 130);
}

TEST_F(TranscriptRows, TheRemoveButtonActsOnThePressItself)
{
    deliverCapture();
    const auto send = [this](QEvent::Type type, Qt::MouseButton button) {
        RoundIconButton& remove = *widgetsIn<RoundIconButton>(row(0)).at(0);
        const QPointF at(11, 11);
        QMouseEvent event(type, at, remove.mapToGlobal(at), button, button, Qt::NoModifier);
        QApplication::sendEvent(&remove, &event);
    };
    send(QEvent::MouseButtonPress, Qt::RightButton);
    ASSERT_EQ(messages().size(), 1);
    send(QEvent::MouseButtonPress, Qt::LeftButton);
    EXPECT_TRUE(messages().isEmpty());
}

TEST_F(TranscriptRows, OnlyAMessageThatIsNothingButAnAttachmentCanBeTakenAway)
{
    ChatMessage message = ChatMessage::capture(QByteArrayLiteral("data"));
    EXPECT_TRUE(QueryChatMessageView::isRemovable(message));
    message.isStreaming = true;
    EXPECT_FALSE(QueryChatMessageView::isRemovable(message));
    message.isStreaming = false;
    message.text = QStringLiteral("with words");
    EXPECT_FALSE(QueryChatMessageView::isRemovable(message));
    EXPECT_FALSE(QueryChatMessageView::isRemovable(ChatMessage::user(QString())));
    EXPECT_FALSE(QueryChatMessageView::isRemovable(ChatMessage::streamingAssistant()));
}

TEST_F(TranscriptRows, AThumbnailIsDecodedAtItsSizeAndKept)
{
    // Each quarter in a colour of its own, so that a part of the picture is not taken for the whole.
    QImage picture = pictureOf({1568, 882});
    QPainter painter(&picture);
    painter.fillRect(784, 0, 784, 441, Qt::red);
    painter.fillRect(0, 441, 784, 441, Qt::green);
    painter.fillRect(784, 441, 784, 441, Qt::blue);
    painter.end();
    scene->deliverCapture(picture);
    scene->fit();
    AttachmentThumbnailButton& thumbnail = *widgetsIn<AttachmentThumbnailButton>(row(0)).at(0);
    ASSERT_TRUE(turnUntil([&] { return thumbnail.isLoaded(); }));
    EXPECT_EQ(thumbnail.picture().size(), QSize(220, 124) * thumbnail.devicePixelRatioF());
    EXPECT_EQ(thumbnail.picture().devicePixelRatio(), thumbnail.devicePixelRatioF());
    const QImage shown = thumbnail.grab().toImage();
    EXPECT_EQ(shown.pixelColor(55, 70 - 31), QColor(Qt::darkCyan));
    EXPECT_EQ(shown.pixelColor(160, 31), QColor(Qt::red));
    EXPECT_EQ(shown.pixelColor(55, 93), QColor(Qt::green));
    EXPECT_EQ(shown.pixelColor(165, 93), QColor(Qt::blue));
    // Whatever happens to the transcript, it is the same picture.
    const auto key = thumbnail.picture().cacheKey();
    converse(QStringLiteral("Why?"), QStringLiteral("A line.\n").repeated(40));
    bar().setValue(0);
    scene->content->hide();
    scene->show();
    async::finishWorkers();
    settle();
    EXPECT_EQ(widgetsIn<AttachmentThumbnailButton>(row(0)).at(0), &thumbnail);
    EXPECT_EQ(thumbnail.picture().cacheKey(), key);
}

TEST_F(TranscriptRows, DataThatIsNoPictureShowsNoThumbnail)
{
    scene->capture.succeed(0, QByteArrayLiteral("no picture at all"));
    scene->fit();
    EXPECT_EQ(widgetsIn<AttachmentThumbnailButton>(row(0)).size(), 0U);
    EXPECT_EQ(row(0).fittingHeight(), 0);
}

TEST_F(TranscriptRows, APictureThatTurnsOutToBeBrokenGoesAgain)
{
    QByteArray data;
    QBuffer buffer(&data);
    pictureOf({400, 300}).save(&buffer, "PNG");
    // The head still says how large it is.
    const qsizetype body = data.indexOf("IDAT") + 4;
    data.replace(body, 40, QByteArray(40, '\x55'));
    QBuffer broken(&data);
    ASSERT_EQ(QImageReader(&broken).size(), QSize(400, 300));
    ASSERT_TRUE(QImage::fromData(data).isNull());
    scene->capture.succeed(0, data);
    scene->fit();
    EXPECT_TRUE(turnUntil([this] { return widgetsIn<AttachmentThumbnailButton>(row(0)).empty(); }));
    EXPECT_EQ(row(0).fittingHeight(), 0);
}

TEST_F(TranscriptRows, AClickOnTheThumbnailOpensItsPicture)
{
    deliverCapture({640, 480});
    const auto buttons = widgetsIn<PanelButton>(row(0));
    const auto image = std::ranges::find_if(buttons, [](const PanelButton* button) {
        return button->toolTip() == QStringLiteral("Click to view full size");
    });
    ASSERT_NE(image, buttons.end());
    const QString title = messages().at(0).attachment->title;
    const auto preview = [&]() -> QWidget* {
        const auto windows = QApplication::topLevelWidgets();
        for (QWidget* window : windows) {
            if (window->isVisible() && window->windowTitle() == title)
                return window;
        }
        return nullptr;
    };
    (*image)->click();
    ASSERT_TRUE(turnUntil([&] { return preview() != nullptr; }));
    EXPECT_EQ(preview()->size(), QSize(640, 480));
    scene->content->detach();
    EXPECT_EQ(preview(), nullptr);
}

TEST_F(TranscriptRows, AQuestionIsABubbleOfItsOwnWidth)
{
    deliverCapture();
    converse(QStringLiteral("Why?"), QStringLiteral("Because."));
    const auto& bubble = *widgetsIn<RoundedBackgroundView>(row(1)).at(0);
    EXPECT_EQ(bubble.geometry().right() + 1, 572);
    EXPECT_EQ(bubble.cornerRadius(), 16);
    EXPECT_EQ(bubble.borderWidth(), 1);
    EXPECT_EQ(bubble.backgroundColor(), QueryPanelTheme::userBubbleBackground());
    EXPECT_EQ(bubble.borderColor(), QueryPanelTheme::userBubbleBorder());
    const QFontMetricsF metrics(MessageFonts::current().font(markdown::Style::Base));
    EXPECT_NEAR(bubble.width(), metrics.horizontalAdvance(QStringLiteral("Why?")) + 32, 2);
    EXPECT_EQ(row(1).textView().mapTo(&bubble, QPoint()), QPoint(16, 12));
    EXPECT_EQ(bubble.height(), row(1).textView().height() + 24);
}

TEST_F(TranscriptRows, ALongQuestionTakesAtMostItsShareOfTheRow)
{
    deliverCapture();
    scene->ask(QStringLiteral("word ").repeated(200));
    scene->fit();
    const auto& bubble = *widgetsIn<RoundedBackgroundView>(row(1)).at(0);
    EXPECT_LE(bubble.width(), 412);
    EXPECT_GT(bubble.width(), 380);
}

TEST_F(TranscriptRows, QuestionsAreNeverMarkdown)
{
    deliverCapture();
    scene->ask(QStringLiteral("# is **this** `code`?"));
    scene->fit();
    EXPECT_EQ(shownText(row(1)), QStringLiteral("# is **this** `code`?"));
}

TEST_F(TranscriptRows, AnAnswerLeavesRoomAtItsTrailingEdge)
{
    deliverCapture();
    converse(QStringLiteral("Why?"), QStringLiteral("word ").repeated(200));
    EXPECT_EQ(row(2).width(), 572);
    EXPECT_EQ(row(2).textView().mapTo(&row(2), QPoint()).x(), 0);
    EXPECT_EQ(row(2).textView().width(), 572 - 48);
}

TEST_F(TranscriptRows, RowsAreTwelveApart)
{
    deliverCapture();
    converse(QStringLiteral("Why?"), QStringLiteral("Because."));
    EXPECT_EQ(row(1).y(), row(0).geometry().bottom() + 1 + 12);
    EXPECT_EQ(row(2).y(), row(1).geometry().bottom() + 1 + 12);
    EXPECT_EQ(row(0).mapTo(&transcript().documentView(), QPoint()), QPoint(24, 14));
}

TEST_F(TranscriptRows, AWaitingAnswerIsThinkingAndDimmed)
{
    deliverCapture();
    scene->ask(QStringLiteral("Why?"));
    scene->fit();
    EXPECT_EQ(shownText(row(2)), QStringLiteral("Thinking…"));
    EXPECT_EQ(row(2).textView().textColor(), QueryPanelTheme::dimText());
    EXPECT_GE(row(2).fittingHeight(), 20);
    scene->stream(QStringLiteral("It"));
    scene->fit();
    EXPECT_EQ(shownText(row(2)), QStringLiteral("It"));
    EXPECT_EQ(row(2).textView().textColor(), QueryPanelTheme::text());
}

TEST_F(TranscriptRows, AQuestionThatIsBeingTranscribedSaysSoInItsBubble)
{
    removeCapture();
    const QUuid id = scene->session.appendPendingUserMessage(QString());
    scene->fit();
    EXPECT_EQ(shownText(row(0)), QStringLiteral("Transcribing…"));
    EXPECT_TRUE(widgetsIn<RoundedBackgroundView>(row(0)).at(0)->isVisible());
    scene->session.replaceChatMessage(id, QStringLiteral("What is this?"), false);
    scene->fit();
    EXPECT_EQ(shownText(row(0)), QStringLiteral("What is this?"));
    EXPECT_EQ(row(0).textView().textColor(), QueryPanelTheme::text());
}

TEST_F(TranscriptRows, RowsAreKeptWhileTheirMessagesChange)
{
    deliverCapture();
    scene->ask(QStringLiteral("Why?"));
    scene->fit();
    const QueryChatMessageView* capture = &row(0);
    const QueryChatMessageView* question = &row(1);
    const QueryChatMessageView* answer = &row(2);
    for (int piece = 0; piece < 20; ++piece) {
        scene->stream(QStringLiteral("piece "));
        scene->fit();
    }
    scene->finish();
    scene->fit();
    EXPECT_EQ(&row(0), capture);
    EXPECT_EQ(&row(1), question);
    EXPECT_EQ(&row(2), answer);
    EXPECT_EQ(shownText(row(2)), QStringLiteral("piece ").repeated(20));
}

TEST_F(TranscriptRows, AnErrorIsPartOfTheAnswer)
{
    deliverCapture();
    scene->ask(QStringLiteral("Why?"));
    scene->stream(QStringLiteral("It is **bold"));
    scene->provider.requests.back().answer.fail(LLMError::httpError(529, QStringLiteral("no")));
    scene->fit();
    EXPECT_TRUE(shownText(row(2)).startsWith(QStringLiteral("It is **bold\n\n[Error: ")));
}

TEST_F(TranscriptRows, FollowsTheEndWhileTheAnswerGrows)
{
    deliverCapture();
    scene->ask(QStringLiteral("Why?"));
    for (int piece = 0; piece < 40; ++piece) {
        scene->stream(QStringLiteral("A line.\n"));
        scene->fit();
        EXPECT_TRUE(isAtEnd()) << piece;
    }
}

TEST_F(TranscriptRows, LeavesTheReaderAloneWhoHasScrolledUp)
{
    deliverCapture();
    scene->ask(QStringLiteral("Why?"));
    scene->stream(QStringLiteral("A line.\n").repeated(60));
    scene->fit();
    scrollUp();
    const int position = bar().value();
    ASSERT_LT(position, bar().maximum());
    for (int piece = 0; piece < 5; ++piece) {
        scene->stream(QStringLiteral("Another line.\n"));
        scene->fit();
        EXPECT_EQ(bar().value(), position);
    }
    scene->finish();
    scene->fit();
    EXPECT_EQ(bar().value(), position);
    // Back at the end it is followed again; the user's own question is always shown.
    bar().setValue(bar().maximum());
    scrollUp();
    scene->ask(QStringLiteral("And now?"));
    scene->fit();
    EXPECT_TRUE(isAtEnd());
}

TEST_F(TranscriptRows, StaysAtTheEndWhileTheCardGrows)
{
    deliverCapture();
    converse(QStringLiteral("Why?"), QStringLiteral("A line.\n").repeated(60));
    for (const int height : {200, 300, 450, 586, 300, 586}) {
        scene->content->resize(620, height);
        settle();
        EXPECT_TRUE(isAtEnd()) << height;
    }
}

TEST_F(TranscriptRows, TheDocumentIsAsWideAsWhatShowsItAndAsHighAsItsRows)
{
    deliverCapture();
    converse(QStringLiteral("Why?"), QStringLiteral("A line.\n").repeated(60));
    const QWidget& document = transcript().documentView();
    EXPECT_EQ(document.width(), transcript().viewport()->width());
    EXPECT_EQ(document.height(), transcript().fittingHeight());
    EXPECT_EQ(document.height(), row(2).mapTo(&document, QPoint(0, row(2).height())).y() + 14);
}

TEST_F(TranscriptRows, OneSelectionAtATime)
{
    deliverCapture();
    converse(QStringLiteral("Why?"), QStringLiteral("Because of this."));
    row(1).textView().select(0, 2);
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(5, 8), QPointF(5, 8), Qt::LeftButton, Qt::LeftButton,
                      Qt::NoModifier);
    QApplication::sendEvent(&row(2).textView(), &press);
    EXPECT_TRUE(row(1).textView().selection().isEmpty());
}

TEST_F(TranscriptRows, AVeryLongLineWithoutASpaceDoesNotHoldUpTheMainThread)
{
    deliverCapture();
    scene->ask(QStringLiteral("Why?"));
    scene->stream(QString(1'000'000, u'x'));
    const StyledTextLayout& layout = row(2).textView().layoutOfText();
    // In how many turns of the loop it became higher, and how long the longest of all turns was.
    int parts = 0;
    qint64 longest = 0;
    QElapsedTimer guard;
    guard.start();
    while (layout.size() != 1'000'000 || !layout.isLaidOut()) {
        ASSERT_LT(guard.elapsed(), 60'000);
        const double before = layout.height();
        QElapsedTimer turn;
        turn.start();
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        longest = std::max(longest, turn.elapsed());
        parts += layout.height() != before ? 1 : 0;
    }
    RecordProperty("parts", parts);
    RecordProperty("longest", static_cast<int>(longest));
    EXPECT_GT(parts, 8);
    // A few hundredths of a second, but for machines with more to do.
    EXPECT_LT(longest, 1000);
    scene->fit();
    EXPECT_EQ(scene->requestedHeight, 586);
    EXPECT_TRUE(isAtEnd());
}

} // namespace
} // namespace velmo
