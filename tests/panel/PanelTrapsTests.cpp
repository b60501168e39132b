// What went wrong once, and how people would have met it.

#include "core/async/WorkerPool.h"
#include "panel/PanelTest.h"
#include "panel/WebLinks.h"

#include <QContextMenuEvent>
#include <QScrollBar>
#include <QWheelEvent>
#include <atomic>

namespace velmo {
namespace {

class PanelTraps : public PanelTest {
protected:
    PanelTraps() { QApplication::setActiveWindow(scene->content.get()); }

    [[nodiscard]] AutoSizingTextView& answer() const { return row(2).textView(); }
    void converseAtLength()
    {
        deliverCapture();
        converse(QStringLiteral("Why?"), QStringLiteral("A line of an answer.\n").repeated(60));
    }
    static void press(AutoSizingTextView& view, QPointF at, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QMouseEvent event(QEvent::MouseButtonPress, at, view.mapToGlobal(at), Qt::LeftButton, Qt::LeftButton,
                          modifiers);
        QApplication::sendEvent(&view, &event);
    }
    static void release(AutoSizingTextView& view, QPointF at)
    {
        QMouseEvent event(QEvent::MouseButtonRelease, at, view.mapToGlobal(at), Qt::LeftButton, Qt::NoButton,
                          Qt::NoModifier);
        QApplication::sendEvent(&view, &event);
    }
    static void doubleClick(AutoSizingTextView& view, QPointF at)
    {
        QMouseEvent event(QEvent::MouseButtonDblClick, at, view.mapToGlobal(at), Qt::LeftButton,
                          Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&view, &event);
        release(view, at);
    }
    /// What a worker has been given before is done, and what follows from it on this thread.
    static void waitForWorkers()
    {
        constexpr int kMoreThanWorkers = 64;
        std::atomic<int> done = 0;
        for (int task = 0; task < kMoreThanWorkers; ++task)
            async::runOnWorker([&done] { ++done; });
        EXPECT_TRUE(turnUntil([&] { return done == kMoreThanWorkers; }));
        async::finishWorkers();
        settle();
    }
    [[nodiscard]] PanelMenu* menu() const
    {
        const auto menus = widgetsIn<PanelMenu>(*scene->content);
        return menus.empty() ? nullptr : menus.back();
    }
};

TEST_F(PanelTraps, ThePanelGoesWhileAControlOfItHasTheKeyboard)
{
    widget<TextButton>().setFocus(Qt::TabFocusReason);
    ASSERT_TRUE(widget<TextButton>().hasFocus());
    scene->content.reset();
    scene = std::make_unique<PanelScene>();
    scene->show();
    QApplication::setActiveWindow(scene->content.get());
    text().setFocus();
    ASSERT_TRUE(text().hasFocus());
    scene->content.reset();
    SUCCEED();
}

TEST_F(PanelTraps, AKeyThatTheFieldCannotTakeEndsThere)
{
    deliverCapture();
    scene->ask(QStringLiteral("Why?"));
    ASSERT_TRUE(text().isReadOnly());
    QApplication::setActiveWindow(nullptr);
    pressKey(widget<TextButton>(), Qt::Key_X, Qt::NoModifier, QStringLiteral("x"));
    EXPECT_EQ(text().toPlainText(), QString());
}

TEST_F(PanelTraps, TheReaderStaysWhereTheyAreWhenTheWindowIsActiveAgain)
{
    converseAtLength();
    answer().setFocus(Qt::MouseFocusReason);
    const int position = transcript().verticalScrollBar()->value();
    ASSERT_GT(position, 0);
    for (const auto reason : {Qt::ActiveWindowFocusReason, Qt::PopupFocusReason, Qt::MouseFocusReason}) {
        QFocusEvent event(QEvent::FocusIn, reason);
        QApplication::sendEvent(&answer(), &event);
        EXPECT_EQ(transcript().verticalScrollBar()->value(), position);
    }
    scene->ask(QStringLiteral("More?"));
    scene->stream(QStringLiteral("A line.\n").repeated(30));
    scene->fit();
    EXPECT_EQ(transcript().verticalScrollBar()->value(), transcript().verticalScrollBar()->maximum());
}

TEST_F(PanelTraps, TheReaderStaysWhereTheyAreWhateverHadTheKeyboard)
{
    converseAtLength();
    QScrollBar& bar = *transcript().verticalScrollBar();
    const auto buttons = widgetsIn<PanelButton>(row(0));
    ASSERT_EQ(buttons.size(), 2U) << "the thumbnail and its Remove";
    for (PanelButton* button : buttons) {
        bar.setValue(bar.maximum());
        button->setFocus(Qt::TabFocusReason);
        ASSERT_TRUE(button->hasFocus());
        ASSERT_LT(bar.value(), bar.maximum()) << "by Tab it comes into view";
        bar.setValue(bar.maximum());
        QApplication::setActiveWindow(nullptr);
        ASSERT_EQ(QApplication::focusWidget(), nullptr);
        QApplication::setActiveWindow(scene->content.get());
        ASSERT_TRUE(button->hasFocus());
        EXPECT_EQ(bar.value(), bar.maximum()) << button->toolTip().toStdString();
    }
}

TEST_F(PanelTraps, ReturnAndPastingOverAnAnswerAreMeantForTheQuestion)
{
    converseAtLength();
    text().setPlainText(QStringLiteral("And now?"));
    answer().setFocus(Qt::MouseFocusReason);
    pressKey(answer(), Qt::Key_Return);
    settle();
    EXPECT_EQ(scene->provider.requests.size(), 2U);
}

TEST_F(PanelTraps, AContextMenuOpensAtThePointerAndAPressOnItsShadowClosesIt)
{
    converseAtLength();
    const QPoint at = answer().mapToGlobal(QPoint(20, answer().height() - 30));
    QContextMenuEvent event(QContextMenuEvent::Mouse, answer().mapFromGlobal(at), at);
    QApplication::sendEvent(&answer(), &event);
    ASSERT_NE(menu(), nullptr);
    const int margin = (menu()->width() - PanelMenu::kWidth) / 2;
    EXPECT_GT(margin, 10);
    EXPECT_EQ(menu()->x() + margin, at.x());
    ASSERT_TRUE(menu()->isVisible());
    const QPointF onShadow(margin / 2.0, margin / 2.0);
    QMouseEvent pressed(QEvent::MouseButtonPress, onShadow, menu()->mapToGlobal(onShadow), Qt::LeftButton,
                        Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(menu(), &pressed);
    EXPECT_TRUE(turnUntil([this] { return menu() == nullptr; }));
}

TEST_F(PanelTraps, TheFocusRingStaysAroundItsControlWhileTheCardGrows)
{
    widget<ModelPillButton>().setFocus(Qt::TabFocusReason);
    FocusRing& ring = widget<FocusRing>();
    ASSERT_TRUE(ring.isVisible());
    for (const int height : {130, 180, 300}) {
        scene->content->resize(620, height);
        const QRect pill(widget<ModelPillButton>().mapTo(scene->content.get(), QPoint()),
                         widget<ModelPillButton>().size());
        EXPECT_EQ(ring.geometry().center(), pill.center()) << height;
    }
}

TEST_F(PanelTraps, TheWheelWithControlLeavesTheQuestionsFontAlone)
{
    deliverCapture();
    scene->ask(QStringLiteral("Why?"));
    const QFont before = text().font();
    QWheelEvent event(QPointF(10, 10), text().mapToGlobal(QPointF(10, 10)), QPoint(), QPoint(0, 480),
                      Qt::NoButton, Qt::ControlModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(text().viewport(), &event);
    EXPECT_EQ(text().font(), before);
}

TEST_F(PanelTraps, AReaderWhoIsAtTheEndBecauseTheChatShrankIsFollowedAgain)
{
    converseAtLength();
    scene->session.beginAdditionalCapture(true);
    scene->session.noteDrawingBegan({1, 1});
    scene->session.advanceToQuery();
    settle();
    deliverCapture({160, 90});
    QScrollBar& bar = *transcript().verticalScrollBar();
    bar.setValue(bar.maximum() - 100);
    scene->session.removeAttachmentMessage(messages().back().id);
    scene->fit();
    ASSERT_EQ(bar.value(), bar.maximum());
    bar.setValue(bar.value());
    scene->session.appendPendingUserMessage(QString());
    scene->fit();
    EXPECT_EQ(bar.value(), bar.maximum());
}

TEST_F(PanelTraps, ADoubleClickSelectsTheWordUnderThePointer)
{
    deliverCapture();
    converse(QStringLiteral("Why?"), QStringLiteral("one two\nthree"));
    const QRectF endOfOne = answer().cursorRectangle(3);
    doubleClick(answer(), {endOfOne.left() - 1, endOfOne.center().y()});
    EXPECT_EQ(answer().selectedText(), QStringLiteral("one"));
    doubleClick(answer(), {400, endOfOne.center().y()});
    EXPECT_EQ(answer().selectedText(), QStringLiteral("two"));
}

TEST_F(PanelTraps, APressWithShiftGoesOnFromTheSelectionsBeginning)
{
    deliverCapture();
    converse(QStringLiteral("Why?"), QStringLiteral("one two three four"));
    answer().select(4, 7);
    press(answer(), answer().cursorRectangle(13).center(), Qt::ShiftModifier);
    release(answer(), answer().cursorRectangle(13).center());
    EXPECT_EQ(answer().selectedText(), QStringLiteral("two three"));
}

TEST_F(PanelTraps, SelectingByKeyboardLeavesOneSelection)
{
    deliverCapture();
    converse(QStringLiteral("Why?"), QStringLiteral("one two"));
    row(1).textView().select(0, 3);
    answer().setFocus(Qt::TabFocusReason);
    sendKey(answer(), QEvent::KeyPress, Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(answer().selectedText(), QStringLiteral("one two"));
    EXPECT_TRUE(row(1).textView().selection().isEmpty());
    answer().select(3, 3);
    sendKey(answer(), QEvent::KeyPress, Qt::Key_End, Qt::ShiftModifier);
    EXPECT_EQ(answer().selectedText(), QStringLiteral(" two"));
}

TEST_F(PanelTraps, AMegabyteWithoutAWidthIsLaidOutPartByPart)
{
    StyledTextLayout layout(300);
    layout.replaceFrom(0, markdown::plain(QString(1'000'000, QChar(1)).toStdU16String()));
    int turns = 1;
    while (!layout.layOut(QDeadlineTimer(0)))
        ++turns;
    EXPECT_GE(turns, 1'000'000 / 16'384);
}

TEST_F(PanelTraps, NoPreviewOpensAfterThePanelHasLeft)
{
    deliverCapture({640, 480});
    const QString title = messages().at(0).attachment->title;
    const auto previews = [&] {
        const auto windows = QApplication::topLevelWidgets();
        return std::ranges::count_if(windows,
                                     [&](const QWidget* window) { return window->windowTitle() == title; });
    };
    // The thumbnail's own decoding is over.
    ASSERT_TRUE(turnUntil([this] { return widgetsIn<AttachmentThumbnailButton>(row(0)).at(0)->isLoaded(); }));
    const auto buttons = widgetsIn<PanelButton>(row(0));
    const auto image = std::ranges::find_if(buttons, [](const PanelButton* button) {
        return button->toolTip() == QStringLiteral("Click to view full size");
    });
    ASSERT_NE(image, buttons.end());
    int clicks = 0;
    QObject::connect(*image, &QAbstractButton::clicked, *image, [&] { ++clicks; });
    (*image)->click();
    ASSERT_EQ(clicks, 1);
    EXPECT_EQ(previews(), 0) << "the picture is still being decoded";
    scene->content->detach();
    waitForWorkers();
    EXPECT_EQ(previews(), 0);
}

TEST_F(PanelTraps, ACompositionThatNeedsMoreLinesGetsThem)
{
    removeCapture();
    QInputMethodEvent event(QStringLiteral("ながいぶん").repeated(40), {});
    QApplication::sendEvent(&text(), &event);
    EXPECT_GT(field().currentIntrinsicHeight(), 28);
    QInputMethodEvent end;
    QApplication::sendEvent(&text(), &end);
    EXPECT_EQ(field().currentIntrinsicHeight(), 28);
}

TEST_F(PanelTraps, AQuestionKeepsItsSpacesThatDoNotBreak)
{
    deliverCapture();
    text().setPlainText(QStringLiteral(" 10\u00a0000 km?\nsecond "));
    pressKey(text(), Qt::Key_Return);
    settle();
    EXPECT_EQ(messages().at(1).text, QStringLiteral("10\u00a0000 km?\nsecond"));
}

TEST_F(PanelTraps, ALongModelNameLeavesTheOtherControlsAlone)
{
    useMicrophone();
    scene->settings->anthropicModel.set(QString(300, u'm'));
    settle();
    EXPECT_LT(widget<ModelPillButton>().geometry().right(), widget<HoldToRecordButton>().x());
}

TEST_F(PanelTraps, AfterSendingByTheButtonsKeyTheKeyboardIsInTheQuestion)
{
    deliverCapture();
    text().setPlainText(QStringLiteral("Why?"));
    sendButton().setFocus(Qt::TabFocusReason);
    pressKey(sendButton(), Qt::Key_Return);
    settle();
    EXPECT_TRUE(text().hasFocus());
}

TEST(WebLinksTraps, AddressesAreFoundBehindScriptsWithoutSpaces)
{
    const QString text = QStringLiteral("请看https://a.example/x。");
    const auto links = findWebLinks(text);
    ASSERT_EQ(links.size(), 1U);
    EXPECT_EQ(text.mid(links[0].begin, links[0].end - links[0].begin), QStringLiteral("https://a.example/x"));
}

} // namespace
} // namespace velmo
