#include "panel/ModelPillButton.h"
#include "panel/QueryInputPanel.h"
#include "panel/SpinnerView.h"
#include "support/panel/AccessibleScene.h"

#include <QLabel>

namespace velmo {
namespace {

class PanelAccessibility : public AccessibleScene {
protected:
    void expectButton(const QString& name, QAccessible::Role role = QAccessible::PushButton)
    {
        QAccessibleInterface* button = element(name);
        ASSERT_NE(button, nullptr) << name.toStdString();
        EXPECT_EQ(button->role(), role) << name.toStdString();
    }

    [[nodiscard]] static QStringList childNames(QAccessibleInterface& parent)
    {
        QStringList names;
        for (int index = 0; index < parent.childCount(); ++index)
            names.append(nameOf(*parent.child(index)));
        return names;
    }

    /// Whoever goes down the tree comes back up the same way.
    static void expectConsistent(QAccessibleInterface& parent)
    {
        for (int index = 0; index < parent.childCount(); ++index) {
            QAccessibleInterface* child = parent.child(index);
            ASSERT_NE(child, nullptr);
            EXPECT_EQ(child->parent(), &parent) << nameOf(*child).toStdString();
            EXPECT_EQ(parent.indexOfChild(child), index) << nameOf(*child).toStdString();
            if (child->role() != QAccessible::EditableText)
                expectConsistent(*child);
        }
    }
};

TEST_F(PanelAccessibility, ControlsAreButtonsWithNames)
{
    panel.deliverCapture(picture());
    open();
    expectButton(QStringLiteral("Screenshot"));
    expectButton(QStringLiteral("Remove"));
    expectButton(QStringLiteral("Send"));
    expectButton(QStringLiteral("Cancel"));
    expectButton(QStringLiteral("Record"));
    const QString model = views<ModelPillButton>().front()->text();
    ASSERT_FALSE(model.isEmpty());
    expectButton(model, QAccessible::ButtonMenu);
    EXPECT_TRUE(element(model)->state().hasPopup);
    EXPECT_EQ(element(model)->text(QAccessible::Description), QStringLiteral("Model"));
}

TEST_F(PanelAccessibility, PressingAButtonByItsActionDoesWhatAClickDoes)
{
    panel.deliverCapture(picture());
    open();
    const auto before = panel.session.chatMessages().messages().size();
    element(QStringLiteral("Remove"))->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_EQ(panel.session.chatMessages().messages().size(), before - 1);
}

TEST_F(PanelAccessibility, AButtonThatCannotBeUsedOffersNoPress)
{
    open();
    QAccessibleInterface* send = element(QStringLiteral("Send"));
    EXPECT_TRUE(send->state().disabled);
    EXPECT_FALSE(send->actionInterface()->actionNames().contains(QAccessibleActionInterface::pressAction()));
    panel.deliverCapture(picture());
    field().setPlainText(QStringLiteral("why?"));
    settle();
    EXPECT_FALSE(send->state().disabled);
    EXPECT_TRUE(send->actionInterface()->actionNames().contains(QAccessibleActionInterface::pressAction()));
}

TEST_F(PanelAccessibility, TheFieldIsAnEditableTextDescribedByItsPlaceholder)
{
    open();
    QAccessibleInterface* question = element(QStringLiteral("Question"));
    ASSERT_NE(question, nullptr);
    EXPECT_EQ(question->role(), QAccessible::EditableText);
    EXPECT_EQ(question->text(QAccessible::Description),
              QStringLiteral("Ask anything about the annotated area…"));
    EXPECT_TRUE(question->state().editable);
    field().setPlainText(QStringLiteral("why?"));
    EXPECT_EQ(question->textInterface()->text(0, 4), QStringLiteral("why?"));
}

TEST_F(PanelAccessibility, TheConversationIsAListOfMessagesInOrder)
{
    panel.deliverCapture(picture());
    open();
    answer(QStringLiteral("why?"), QStringLiteral("Because."));
    QAccessibleInterface* list = element(QStringLiteral("Conversation"));
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->role(), QAccessible::List);
    EXPECT_EQ(childNames(*list),
              (QStringList{QStringLiteral("You"), QStringLiteral("You"), QStringLiteral("Answer")}));
    for (int index = 0; index < list->childCount(); ++index)
        EXPECT_EQ(list->child(index)->role(), QAccessible::ListItem);
    QAccessibleInterface* question = list->child(1)->child(0);
    EXPECT_EQ(nameOf(*question), QStringLiteral("Your question"));
    EXPECT_EQ(question->text(QAccessible::Value), QStringLiteral("why?"));
    QAccessibleInterface* reply = list->child(2)->child(0);
    EXPECT_EQ(nameOf(*reply), QStringLiteral("Answer"));
    EXPECT_EQ(reply->role(), QAccessible::Paragraph);
    EXPECT_EQ(reply->text(QAccessible::Value), QStringLiteral("Because."));
}

TEST_F(PanelAccessibility, TheTreeHasNoDecorationAndLeadsBackToItsRoot)
{
    panel.deliverCapture(picture());
    open();
    answer(QStringLiteral("why?"), QStringLiteral("Because."));
    QAccessibleInterface& root = interfaceOf(*panel.content);
    expectConsistent(root);
    EXPECT_EQ(childNames(root),
              (QStringList{QStringLiteral("Conversation"), QString(), QStringLiteral("Cancel"),
                           QStringLiteral("Preparing screenshot…"), QStringLiteral("Transcribing…")}));
}

TEST_F(PanelAccessibility, AWordAboutWhatIsUnderWayIsANotificationWhileItIsShown)
{
    open();
    QAccessibleInterface* preparing = element(QStringLiteral("Preparing screenshot…"));
    ASSERT_NE(preparing, nullptr);
    EXPECT_EQ(preparing->role(), QAccessible::Notification);
    EXPECT_FALSE(preparing->state().invisible);
    EXPECT_TRUE(element(QStringLiteral("Transcribing…"))->state().invisible);
    panel.deliverCapture(picture());
    EXPECT_TRUE(preparing->state().invisible);
}

TEST_F(PanelAccessibility, AnAnswerIsBusyUntilItIsComplete)
{
    panel.deliverCapture(picture());
    open();
    panel.ask(QStringLiteral("why?"));
    panel.fit();
    QAccessibleInterface* reply = element(QStringLiteral("Answer"), 1);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(reply->text(QAccessible::Value), QStringLiteral("Thinking…"));
    EXPECT_TRUE(reply->state().busy);
    EXPECT_TRUE(reply->parent()->state().busy);
    panel.stream(QStringLiteral("Because."));
    panel.finish();
    panel.fit();
    EXPECT_FALSE(reply->state().busy);
    EXPECT_FALSE(reply->parent()->state().busy);
}

TEST_F(PanelAccessibility, TheWindowIsOneAndHasAName)
{
    QueryInputPanel window(QPoint(100, 800), panel.windows);
    window.setCard(panel.content.get());
    QAccessibleInterface& root = interfaceOf(window);
    EXPECT_EQ(root.role(), QAccessible::Window);
    EXPECT_FALSE(nameOf(root).isEmpty());
    ASSERT_EQ(root.childCount(), 1);
    EXPECT_EQ(root.child(0)->parent(), &root);
    panel.content->setParent(nullptr);
}

} // namespace
} // namespace velmo
