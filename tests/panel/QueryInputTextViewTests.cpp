#include "panel/PanelTest.h"

#include <QClipboard>
#include <QInputMethodEvent>
#include <QMimeData>

namespace velmo {
namespace {

using std::chrono::milliseconds;

class QueryInput : public testing::Test {
protected:
    QueryInput()
    {
        field.configure(QStringLiteral("Ask"), Qt::white, Qt::gray);
        field.onChange = [this] { calls.append(QStringLiteral("change")); };
        field.onSubmit = [this] { calls.append(QStringLiteral("submit")); };
        field.onCancel = [this] { calls.append(QStringLiteral("cancel")); };
        field.onEmptyEnterPressBegan = [this] { calls.append(QStringLiteral("began")); };
        field.onEmptyEnterPressEnded = [this] { calls.append(QStringLiteral("ended")); };
        field.onHeightChange = [this] { heights.append(field.currentIntrinsicHeight()); };
        field.setAttribute(Qt::WA_DontShowOnScreen);
        field.resize(544, QueryInputTextView::kMinimumHeight);
        field.show();
    }

    [[nodiscard]] QStringList takeCalls() { return std::exchange(calls, {}); }
    void setText(const QString& content)
    {
        text.setPlainText(content);
        text.moveCursor(QTextCursor::End);
        calls.clear();
    }
    void compose(const QString& preedit)
    {
        QInputMethodEvent event(preedit, {});
        QApplication::sendEvent(&text, &event);
    }

    QueryInputTextView field;
    QueryTextView& text = field.textView();
    QStringList calls;
    QList<int> heights;
};

TEST_F(QueryInput, ReturnSubmitsTextAndBothReturnKeysAreTheSame)
{
    for (const int key : {Qt::Key_Return, Qt::Key_Enter}) {
        setText(QStringLiteral(" why? "));
        pressKey(text, key);
        EXPECT_EQ(takeCalls(), QStringList{QStringLiteral("submit")});
        EXPECT_EQ(text.toPlainText(), QStringLiteral(" why? "));
    }
}

TEST_F(QueryInput, ReturnWithShiftOrAltInsertsALineBreak)
{
    setText(QStringLiteral("one"));
    pressKey(text, Qt::Key_Return, Qt::ShiftModifier);
    pressKey(text, Qt::Key_Enter, Qt::AltModifier | Qt::KeypadModifier);
    EXPECT_EQ(text.toPlainText(), QStringLiteral("one\n\n"));
    EXPECT_FALSE(takeCalls().contains(QStringLiteral("submit")));
}

TEST_F(QueryInput, WhiteSpaceAloneIsEmpty)
{
    setText(QStringLiteral("  \n\t\u00a0\u3000"));
    pressKey(text, Qt::Key_Return);
    EXPECT_EQ(takeCalls(), QStringList{QStringLiteral("began")});
    releaseKey(text, Qt::Key_Return);
    EXPECT_EQ(takeCalls(), QStringList{QStringLiteral("ended")});
}

TEST_F(QueryInput, AHeldReturnBeginsAndEndsOnce)
{
    pressKey(text, Qt::Key_Return);
    for (int repeat = 0; repeat < 5; ++repeat) {
        sendKey(text, QEvent::KeyRelease, Qt::Key_Return, Qt::NoModifier, {}, true);
        sendKey(text, QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, {}, true);
    }
    EXPECT_EQ(takeCalls(), QStringList{QStringLiteral("began")});
    releaseKey(text, Qt::Key_Return);
    EXPECT_EQ(takeCalls(), QStringList{QStringLiteral("ended")});
}

TEST_F(QueryInput, TheReleaseOfThePressThatSubmittedEndsNothing)
{
    field.onSubmit = [this] { text.clear(); };
    setText(QStringLiteral("why?"));
    pressKey(text, Qt::Key_Return);
    releaseKey(text, Qt::Key_Return);
    EXPECT_FALSE(takeCalls().contains(QStringLiteral("ended")));
    // One without a press of its own does.
    releaseKey(text, Qt::Key_Return);
    EXPECT_EQ(takeCalls(), QStringList{QStringLiteral("ended")});
}

TEST_F(QueryInput, AReleaseOverTextEndsNothing)
{
    setText(QStringLiteral("why?"));
    releaseKey(text, Qt::Key_Return);
    EXPECT_EQ(takeCalls(), QStringList());
}

TEST_F(QueryInput, EscapeCancelsOnceHoweverLongItIsHeld)
{
    pressKey(text, Qt::Key_Escape);
    sendKey(text, QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier, {}, true);
    EXPECT_EQ(takeCalls(), QStringList{QStringLiteral("cancel")});
}

TEST_F(QueryInput, OtherKeysTypeAndTabLeaves)
{
    typeText(text, QStringLiteral("ab c"));
    EXPECT_EQ(text.toPlainText(), QStringLiteral("ab c"));
    pressKey(text, Qt::Key_Tab, Qt::NoModifier, QStringLiteral("\t"));
    EXPECT_EQ(text.toPlainText(), QStringLiteral("ab c"));
}

TEST_F(QueryInput, ReturnConfirmsACompositionAndDoesNotSubmit)
{
    setText(QStringLiteral("why "));
    compose(QStringLiteral("にほん"));
    ASSERT_TRUE(text.isComposing());
    pressKey(text, Qt::Key_Return);
    pressKey(text, Qt::Key_Escape);
    const QStringList whileComposing = takeCalls();
    EXPECT_FALSE(whileComposing.contains(QStringLiteral("submit")));
    EXPECT_FALSE(whileComposing.contains(QStringLiteral("cancel")));
    QInputMethodEvent commit;
    commit.setCommitString(QStringLiteral("日本"));
    QApplication::sendEvent(&text, &commit);
    EXPECT_EQ(text.toPlainText(), QStringLiteral("why 日本"));
    pressKey(text, Qt::Key_Return);
    EXPECT_EQ(takeCalls().back(), QStringLiteral("submit"));
}

/// As an overlay has it, for Escape wherever the keyboard is.
class EscapeTaker final : public QObject {
public:
    EscapeTaker() { qApp->installEventFilter(this); }
    [[nodiscard]] int taken() const { return taken_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() != QEvent::KeyPress || !watched->isWidgetType() ||
            static_cast<QKeyEvent*>(event)->key() != Qt::Key_Escape)
            return false;
        ++taken_;
        return true;
    }

private:
    int taken_ = 0;
};

TEST_F(QueryInput, EscapeEndsACompositionEvenWhereAnotherWindowTakesEveryEscape)
{
    const EscapeTaker overlay;
    pressKey(text, Qt::Key_Escape);
    EXPECT_EQ(overlay.taken(), 1) << "nothing is composed";
    for (int composition = 0; composition < 2; ++composition) {
        compose(QStringLiteral("に"));
        compose(QStringLiteral("にほ"));
        pressKey(text, Qt::Key_Escape);
        EXPECT_EQ(overlay.taken(), 1 + composition) << "it belongs to the input method";
        EXPECT_EQ(takeCalls().filter(QStringLiteral("cancel")), QStringList());
        // Which answers by ending the composition.
        compose(QString());
        pressKey(text, Qt::Key_Escape);
        EXPECT_EQ(overlay.taken(), 2 + composition);
    }
    EXPECT_EQ(takeCalls().filter(QStringLiteral("cancel")), QStringList());
}

TEST_F(QueryInput, OnlyEscapeAndOnlyTheFieldsOwnIsKeptFromOthers)
{
    const EscapeTaker overlay;
    compose(QStringLiteral("に"));
    QWidget other;
    pressKey(other, Qt::Key_Escape);
    EXPECT_EQ(overlay.taken(), 1);
    pressKey(text, Qt::Key_A, Qt::NoModifier, QStringLiteral("a"));
    EXPECT_TRUE(text.toPlainText().contains(u'a'));
}

TEST_F(QueryInput, TheFieldGrowsFrom28To92AndThenScrolls)
{
    const int line = static_cast<int>(std::ceil(QFontMetricsF(text.font()).lineSpacing()));
    EXPECT_EQ(field.currentIntrinsicHeight(), 28);
    setText(QStringLiteral("one"));
    EXPECT_EQ(field.currentIntrinsicHeight(), 28);
    setText(QStringLiteral("one\ntwo"));
    EXPECT_NEAR(field.currentIntrinsicHeight(), 2 * line + 6, 1);
    const int two = field.currentIntrinsicHeight();
    setText(QStringLiteral("one\ntwo\nthree\nfour\nfive\nsix"));
    EXPECT_EQ(field.currentIntrinsicHeight(), 92);
    setText(QString());
    EXPECT_EQ(field.currentIntrinsicHeight(), 28);
    EXPECT_EQ(heights, (QList<int>{two, 92, 28}));
}

TEST_F(QueryInput, LongLinesWrapAndSoDoWordsWithoutAnEnd)
{
    setText(QString(2000, u'x'));
    EXPECT_EQ(field.currentIntrinsicHeight(), 92);
}

TEST_F(QueryInput, TakesTenThousandLinesFromTheClipboard)
{
    auto* data = new QMimeData;
    data->setText(QStringLiteral("a line of a log\n").repeated(10'000));
    data->setHtml(QStringLiteral("<b>never seen</b>"));
    QGuiApplication::clipboard()->setMimeData(data);
    text.paste();
    EXPECT_EQ(text.document()->blockCount(), 10'001);
    EXPECT_EQ(field.currentIntrinsicHeight(), 92);
    EXPECT_TRUE(field.trimmedText().endsWith(QStringLiteral("a line of a log")));
}

TEST_F(QueryInput, PastesPlainTextAndUndoesIt)
{
    setText(QStringLiteral("see: "));
    auto* data = new QMimeData;
    data->setHtml(QStringLiteral("<h1>Big</h1><img src='x.png'>"));
    data->setText(QStringLiteral("Big \"quotes\" -- stay\r\nas they are"));
    QGuiApplication::clipboard()->setMimeData(data);
    text.paste();
    EXPECT_EQ(text.toPlainText(), QStringLiteral("see: Big \"quotes\" -- stay\nas they are"));
    EXPECT_EQ(text.textCursor().charFormat().fontWeight(), text.font().weight());
    text.undo();
    EXPECT_EQ(text.toPlainText(), QStringLiteral("see: "));
    text.redo();
    EXPECT_TRUE(text.toPlainText().contains(QStringLiteral("as they are")));
}

TEST_F(QueryInput, TakesNoPictures)
{
    auto* data = new QMimeData;
    data->setImageData(pictureOf({4, 4}));
    QGuiApplication::clipboard()->setMimeData(data);
    text.paste();
    EXPECT_EQ(text.toPlainText(), QString());
}

TEST_F(QueryInput, ThePlaceholderShowsWhileThereIsNoText)
{
    EXPECT_EQ(field.placeholderField().text(), QStringLiteral("Ask"));
    EXPECT_TRUE(field.placeholderField().isVisible());
    typeText(text, QStringLiteral("a"));
    EXPECT_FALSE(field.placeholderField().isVisible());
    text.clear();
    EXPECT_TRUE(field.placeholderField().isVisible());
    compose(QStringLiteral("に"));
    EXPECT_FALSE(field.placeholderField().isVisible());
    compose(QString());
    EXPECT_TRUE(field.placeholderField().isVisible());
}

TEST_F(QueryInput, ATemporaryPlaceholderStaysForTheDurationOfTheLastCall)
{
    field.showTemporaryPlaceholder(QStringLiteral("first"), milliseconds(40));
    field.showTemporaryPlaceholder(QStringLiteral("second"), milliseconds(250));
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ(field.placeholderField().text(), QStringLiteral("second"));
    ASSERT_TRUE(turnUntil([this] { return field.placeholderField().text() != QStringLiteral("second"); }));
    EXPECT_EQ(field.placeholderField().text(), QStringLiteral("Ask"));
    EXPECT_GE(timer.elapsed(), 245);
}

TEST_F(QueryInput, TypedTextHidesATemporaryPlaceholderWhichIsThereAgainWithoutIt)
{
    field.showTemporaryPlaceholder(QStringLiteral("Hold"), milliseconds(60'000));
    typeText(text, QStringLiteral("a"));
    EXPECT_FALSE(field.placeholderField().isVisible());
    text.clear();
    EXPECT_TRUE(field.placeholderField().isVisible());
    EXPECT_EQ(field.placeholderField().text(), QStringLiteral("Hold"));
}

TEST_F(QueryInput, AFieldThatCannotBeEditedStillTakesTheKeysOfAQuestion)
{
    setText(QStringLiteral("why?"));
    field.setEditable(false);
    typeText(text, QStringLiteral("x"));
    pressKey(text, Qt::Key_Return, Qt::ShiftModifier);
    EXPECT_EQ(text.toPlainText(), QStringLiteral("why?"));
    pressKey(text, Qt::Key_Return);
    pressKey(text, Qt::Key_Escape);
    EXPECT_EQ(takeCalls(), (QStringList{QStringLiteral("submit"), QStringLiteral("cancel")}));
    EXPECT_TRUE(text.isEnabled());
    field.setEditable(true);
    typeText(text, QStringLiteral("x"));
    EXPECT_EQ(text.toPlainText().size(), 5);
}

TEST_F(QueryInput, AFieldThatCannotBeEditedIsPaler)
{
    const double alpha = text.palette().color(QPalette::Text).alphaF();
    field.setEditable(false);
    EXPECT_NEAR(text.palette().color(QPalette::Text).alphaF(), alpha * 0.72, 0.01);
    field.setEditable(true);
    EXPECT_NEAR(text.palette().color(QPalette::Text).alphaF(), alpha, 0.001);
}

} // namespace
} // namespace velmo
