#include "panel/MessageTextView.h"

#include "markdown/MarkdownRules.h"
#include "panel/PanelTest.h"

#include <QClipboard>
#include <random>

namespace velmo {
namespace {

class MessageText : public testing::Test {
protected:
    MessageText()
    {
        view.setContainerWidth(524);
        view.resize(524, 400);
        text.onOpenLink = [this](const QUrl& address) { opened.append(address.toString()); };
    }

    void click(QPointF at)
    {
        for (const auto type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
            QMouseEvent event(type, at, at, Qt::LeftButton,
                              type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton,
                              Qt::NoModifier);
            QApplication::sendEvent(&text, &event);
        }
    }
    void drag(qsizetype from, qsizetype to)
    {
        const QPointF begin = text.cursorRectangle(from).center();
        const QPointF end = text.cursorRectangle(to).center();
        QMouseEvent press(QEvent::MouseButtonPress, begin, begin, Qt::LeftButton, Qt::LeftButton,
                          Qt::NoModifier);
        QApplication::sendEvent(&text, &press);
        QMouseEvent move(QEvent::MouseMove, end, end, Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&text, &move);
        QMouseEvent release(QEvent::MouseButtonRelease, end, end, Qt::LeftButton, Qt::NoButton,
                            Qt::NoModifier);
        QApplication::sendEvent(&text, &release);
    }

    MessageTextView view{QString(), ChatMessageRole::Assistant, false};
    AutoSizingTextView& text = view.textView();
    QStringList opened;
};

TEST_F(MessageText, WhatIsShownInPiecesEqualsTheFullRendering)
{
    std::mt19937 random(11);
    static const QStringList parts{QStringLiteral("**"),   QStringLiteral("__"),   QStringLiteral("`"),
                                   QStringLiteral("# "),   QStringLiteral("\n"),   QStringLiteral("word "),
                                   QStringLiteral("🙂"), QStringLiteral("\r\n"), QStringLiteral("x")};
    for (int round = 0; round < 40; ++round) {
        QString source;
        view.setText(QString(), false);
        for (int piece = 0; piece < 60; ++piece) {
            for (auto part = random() % 6; part > 0; --part)
                source += parts.at(static_cast<qsizetype>(random() % static_cast<unsigned>(parts.size())));
            view.extendTo(source);
            ASSERT_EQ(text.layoutOfText().text(), MessageTextView::attributedAssistantText(source));
        }
        view.setText(source, false);
        ASSERT_EQ(text.layoutOfText().text(), MessageTextView::attributedAssistantText(source));
    }
}

TEST_F(MessageText, ASelectionSurvivesWhatDoesNotTouchIt)
{
    QString source = QStringLiteral("This **is** the `answer` to **you");
    view.extendTo(source);
    text.select(5, 18);
    const QString selected = text.selectedText();
    EXPECT_EQ(selected, QStringLiteral("is the answer"));
    for (int piece = 0; piece < 50; ++piece)
        view.extendTo(source += QStringLiteral(" more"));
    view.extendTo(source += QStringLiteral("** end"));
    view.setText(source, false);
    EXPECT_EQ(text.selectedText(), selected);
}

TEST_F(MessageText, ASelectionEndsWhereTheTextChanges)
{
    view.extendTo(QStringLiteral("plain **bold"));
    text.select(0, 12);
    view.extendTo(QStringLiteral("plain **bold**"));
    EXPECT_EQ(text.selectedText(), QStringLiteral("plain "));
}

TEST_F(MessageText, CopiesTheTextAsItIs)
{
    view.setText(QStringLiteral("10\u00a0000 **bold**\nnext"), false);
    text.select(0, text.layoutOfText().size());
    sendKey(text, QEvent::KeyPress, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("10\u00a0000 bold\nnext"));
}

TEST_F(MessageText, SelectsByMouseAndKeyboard)
{
    view.setText(QStringLiteral("one two three"), false);
    drag(4, 7);
    EXPECT_EQ(text.selectedText(), QStringLiteral("two"));
    sendKey(text, QEvent::KeyPress, Qt::Key_Right, Qt::ShiftModifier);
    EXPECT_EQ(text.selectedText(), QStringLiteral("two "));
    sendKey(text, QEvent::KeyPress, Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(text.selectedText(), QStringLiteral("one two three"));
}

TEST_F(MessageText, TypingIsNotForIt)
{
    view.setText(QStringLiteral("one"), false);
    EXPECT_FALSE(pressKey(text, Qt::Key_X, Qt::NoModifier, QStringLiteral("x")));
    EXPECT_EQ(text.layoutOfText().textView().toString(), QStringLiteral("one"));
}

TEST_F(MessageText, AnAddressOpensOnAClickOnceItIsComplete)
{
    const QString source = QStringLiteral("see https://example.org/a");
    view.setGrowing(true);
    view.extendTo(source);
    const QPointF onLink = text.cursorRectangle(10).center();
    click(onLink);
    EXPECT_EQ(opened, QStringList()) << "it may go on";
    view.extendTo(source + QStringLiteral("/b and"));
    click(onLink);
    EXPECT_EQ(opened, QStringList{QStringLiteral("https://example.org/a/b")});
}

TEST_F(MessageText, AnAddressAtTheVeryEndIsCompleteWithTheAnswer)
{
    view.setGrowing(true);
    view.extendTo(QStringLiteral("see https://example.org/a."));
    view.setGrowing(false);
    click(text.cursorRectangle(10).center());
    EXPECT_EQ(opened, QStringList{QStringLiteral("https://example.org/a")});
}

TEST_F(MessageText, ADragOverAnAddressSelectsAndADoubleClickDoesNotOpen)
{
    view.setText(QStringLiteral("see https://example.org/a now"), false);
    drag(6, 12);
    EXPECT_EQ(opened, QStringList());
    EXPECT_EQ(text.selectedText().size(), 6);
}

TEST_F(MessageText, IsAtLeastTwentyHigh)
{
    view.setText(QString(), false);
    EXPECT_EQ(view.fittingHeight(), 20);
}

TEST_F(MessageText, IsAsHighAsItsLinesAndInsets)
{
    view.setText(QStringLiteral("one\ntwo"), false);
    EXPECT_EQ(view.fittingHeight(), static_cast<int>(std::ceil(text.layoutOfText().height() + 4)));
    EXPECT_EQ(text.sizeHint().height(), view.fittingHeight());
}

} // namespace
} // namespace velmo
