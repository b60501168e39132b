#include "panel/ModelPillButton.h"
#include "panel/PanelButtons.h"
#include "panel/TranscriptScrollView.h"
#include "support/panel/AccessibleScene.h"
#include "widgets/FocusRing.h"

#include <QMenu>
#include <QScrollBar>

namespace velmo {
namespace {

class PanelFocus : public AccessibleScene {
protected:
    using AccessibleScene::AccessibleScene;

    [[nodiscard]] QString model() const { return views<ModelPillButton>().front()->text(); }

    /// What the keyboard comes to until it is where it began.
    [[nodiscard]] static QStringList round(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        constexpr int kMany = 40;
        const QWidget* begin = QApplication::focusWidget();
        QStringList names;
        do {
            names.append(focused());
            press(key, modifiers);
        } while (QApplication::focusWidget() != begin && names.size() < kMany);
        return names;
    }

    void expectRing() const
    {
        const FocusRing* ring = views<FocusRing>().front();
        EXPECT_EQ(ring->target(), QApplication::focusWidget()) << focused().toStdString();
        EXPECT_TRUE(ring->isVisible()) << focused().toStdString();
        const QWidget* target = QApplication::focusWidget();
        const QRect bounds(target->mapTo(panel.content.get(), QPoint()), target->size());
        EXPECT_TRUE(QRect(ring->mapTo(panel.content.get(), QPoint()), ring->size()).contains(bounds));
    }
};

TEST_F(PanelFocus, TabGoesFromTheOldestMessageToCancelAndRound)
{
    panel.deliverCapture(picture());
    open();
    answer(QStringLiteral("first?"), QStringLiteral("One."));
    answer(QStringLiteral("second?"), QStringLiteral("Two."));
    field().setPlainText(QStringLiteral("third?"));
    settle();
    const QStringList order{
        QStringLiteral("Question"),      model(),
        QStringLiteral("Send"),          QStringLiteral("Cancel"),
        QStringLiteral("Screenshot"),    QStringLiteral("Remove"),
        QStringLiteral("Your question"), QStringLiteral("Answer"),
        QStringLiteral("Your question"), QStringLiteral("Answer"),
    };
    EXPECT_EQ(round(Qt::Key_Tab), order);
    QStringList backward(order.rbegin(), order.rend());
    backward.prepend(backward.takeLast());
    EXPECT_EQ(round(Qt::Key_Backtab, Qt::ShiftModifier), backward);
    EXPECT_EQ(field().toPlainText(), QStringLiteral("third?"));
}

class PanelFocusWithMicrophone : public PanelFocus {
protected:
    PanelFocusWithMicrophone()
        : PanelFocus(Microphone::There)
    {}
};

TEST_F(PanelFocusWithMicrophone, TabStopsThereBeforeSendAndCancel)
{
    open();
    EXPECT_EQ(round(Qt::Key_Tab), (QStringList{QStringLiteral("Question"), model(), QStringLiteral("Record"),
                                               QStringLiteral("Cancel")}));
}

TEST_F(PanelFocus, TheQuestionCanBeLeftWhileAnAnswerStreams)
{
    panel.deliverCapture(picture());
    open();
    panel.ask(QStringLiteral("why?"));
    panel.fit();
    EXPECT_EQ(focused(), QStringLiteral("Question"));
    press(Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_EQ(focused(), QStringLiteral("Answer"));
    press(Qt::Key_Tab);
    EXPECT_EQ(focused(), QStringLiteral("Question"));
}

TEST_F(PanelFocus, WhatHasTheKeyboardByTabShowsARingAndIsInView)
{
    panel.deliverCapture(picture());
    open();
    answer(QStringLiteral("why?"), QStringLiteral("A line.\n").repeated(60));
    const auto* transcript = views<TranscriptScrollView>().front();
    ASSERT_EQ(transcript->verticalScrollBar()->value(), transcript->verticalScrollBar()->maximum());
    for (int step = 0; step < 20; ++step) {
        press(Qt::Key_Tab);
        if (focused() == QStringLiteral("Question"))
            break;
        expectRing();
        EXPECT_FALSE(QApplication::focusWidget()->visibleRegion().isEmpty()) << focused().toStdString();
    }
    press(Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_EQ(focused(), QStringLiteral("Answer"));
    EXPECT_FALSE(QApplication::focusWidget()->visibleRegion().isEmpty());
}

TEST_F(PanelFocus, TheRingStaysAroundAMessageThatMovesUp)
{
    panel.deliverCapture(picture());
    open();
    answer(QStringLiteral("why?"), QStringLiteral("Because."));
    press(Qt::Key_Backtab, Qt::ShiftModifier);
    ASSERT_EQ(focused(), QStringLiteral("Answer"));
    panel.session.removeAttachmentMessage(panel.session.chatMessages().messages().front().id);
    panel.fit();
    EXPECT_EQ(focused(), QStringLiteral("Answer"));
    expectRing();
}

TEST_F(PanelFocus, AssistiveTechnologyMovesTheFocusVisibly)
{
    open();
    element(QStringLiteral("Cancel"))
        ->actionInterface()
        ->doAction(QAccessibleActionInterface::setFocusAction());
    EXPECT_EQ(focused(), QStringLiteral("Cancel"));
    expectRing();
}

TEST_F(PanelFocus, AssistiveTechnologyBringsAMessageIntoView)
{
    panel.deliverCapture(picture());
    open();
    answer(QStringLiteral("why?"), QStringLiteral("Because."));
    answer(QStringLiteral("more?"), QStringLiteral("A line.\n").repeated(60));
    // The first is that of the picture, which has no text and is not shown.
    QAccessibleInterface* question = element(QStringLiteral("Your question"), 1);
    ASSERT_NE(question, nullptr);
    const auto& message = static_cast<const QWidget&>(*question->object());
    ASSERT_TRUE(message.isVisible());
    ASSERT_TRUE(message.visibleRegion().isEmpty());
    question->actionInterface()->doAction(QAccessibleActionInterface::setFocusAction());
    EXPECT_TRUE(message.hasFocus());
    // All of it but what lies under the card's border.
    EXPECT_TRUE(message.visibleRegion().boundingRect().contains(message.rect().adjusted(0, 1, 0, 0)));
}

TEST_F(PanelFocus, AControlThatIsDisabledGivesTheKeyboardToTheField)
{
    panel.deliverCapture(picture());
    open();
    field().setPlainText(QStringLiteral("why?"));
    settle();
    press(Qt::Key_Tab);
    press(Qt::Key_Tab);
    ASSERT_EQ(focused(), QStringLiteral("Send"));
    press(Qt::Key_Return);
    EXPECT_EQ(panel.provider.requests.size(), 1U);
    EXPECT_EQ(focused(), QStringLiteral("Question"));
}

TEST_F(PanelFocus, AControlThatVanishesGivesTheKeyboardToTheField)
{
    panel.deliverCapture(picture());
    open();
    answer(QStringLiteral("why?"), QStringLiteral("Because."));
    static_cast<QWidget*>(element(QStringLiteral("Remove"))->object())->setFocus(Qt::TabFocusReason);
    ASSERT_EQ(focused(), QStringLiteral("Remove"));
    press(Qt::Key_Space);
    ASSERT_TRUE(turnUntil([this] { return element(QStringLiteral("Screenshot")) == nullptr; }));
    EXPECT_EQ(focused(), QStringLiteral("Question"));
}

class PanelMenuKeys : public PanelFocus {
protected:
    [[nodiscard]] static QMenu* openMenu() { return qobject_cast<QMenu*>(QApplication::activePopupWidget()); }
    [[nodiscard]] static QStringList titles(const QMenu& menu)
    {
        QStringList result;
        for (const QAction* action : menu.actions()) {
            if (!action->isSeparator())
                result.append(action->text());
        }
        return result;
    }
    static void close()
    {
        if (QMenu* menu = openMenu())
            menu->close();
        settle();
    }
    void TearDown() override { close(); }
};

TEST_F(PanelMenuKeys, ShiftF10OpensTheMenuOfTheField)
{
    open();
    field().setPlainText(QStringLiteral("some words"));
    field().selectAll();
    press(Qt::Key_F10, Qt::ShiftModifier);
    ASSERT_NE(openMenu(), nullptr);
    EXPECT_TRUE(titles(*openMenu()).contains(QStringLiteral("Paste")));
    EXPECT_EQ(field().toPlainText(), QStringLiteral("some words"));
}

TEST_F(PanelMenuKeys, ShiftF10OnAnAnswerOffersItsLinks)
{
    panel.deliverCapture(picture());
    open();
    answer(QStringLiteral("where?"),
           QStringLiteral("See https://example.org/a and (https://example.org/b)."));
    QList<QUrl> opened;
    lastText().onOpenLink = [&](const QUrl& address) { opened.append(address); };
    press(Qt::Key_Backtab, Qt::ShiftModifier);
    ASSERT_EQ(focused(), QStringLiteral("Answer"));
    press(Qt::Key_F10, Qt::ShiftModifier);
    ASSERT_NE(openMenu(), nullptr);
    EXPECT_EQ(titles(*openMenu()), (QStringList{QStringLiteral("Open https://example.org/a"),
                                                QStringLiteral("Copy https://example.org/a"),
                                                QStringLiteral("Open https://example.org/b"),
                                                QStringLiteral("Copy https://example.org/b"),
                                                QStringLiteral("Copy"), QStringLiteral("Select All")}));
    QWidget* menu = openMenu();
    for (const int key : {Qt::Key_Down, Qt::Key_Down, Qt::Key_Down, Qt::Key_Return}) {
        QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier);
        QApplication::sendEvent(menu, &down);
    }
    settle();
    EXPECT_EQ(opened, QList<QUrl>{QUrl(QStringLiteral("https://example.org/b"))});
}

TEST_F(PanelMenuKeys, TheMenuOfALongAnswerOpensWhereItCanBeSeen)
{
    panel.deliverCapture(picture());
    open();
    answer(QStringLiteral("why?"), QStringLiteral("A line.\n").repeated(100));
    element(QStringLiteral("Answer"), 1)
        ->actionInterface()
        ->doAction(QAccessibleActionInterface::showMenuAction());
    ASSERT_NE(openMenu(), nullptr);
    const QRect card(panel.content->mapToGlobal(QPoint()), panel.content->size());
    EXPECT_TRUE(card.intersects(openMenu()->geometry()));
}

TEST_F(PanelMenuKeys, TheModelIsChosenByKeyboardAlone)
{
    open();
    const QString before = model();
    press(Qt::Key_Tab);
    press(Qt::Key_Return);
    ASSERT_NE(openMenu(), nullptr);
    const QString other = panel.settings->anthropicModel.value();
    QWidget* menu = openMenu();
    for (int step = 0; step < 2; ++step) {
        QKeyEvent down(QEvent::KeyPress, Qt::Key_Down, Qt::NoModifier);
        QApplication::sendEvent(menu, &down);
    }
    QKeyEvent choose(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QApplication::sendEvent(menu, &choose);
    settle();
    EXPECT_EQ(openMenu(), nullptr);
    EXPECT_NE(model(), before);
    EXPECT_NE(panel.settings->anthropicModel.value(), other);
    EXPECT_EQ(focused(), model());
}

} // namespace
} // namespace velmo
