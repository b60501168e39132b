#include "widgets/WindowAccessible.h"

#include "support/core/Printing.h"
#include "widgets/CheckBox.h"
#include "widgets/PushButton.h"
#include "widgets/RadioButton.h"
#include "widgets/SegmentedControl.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QAccessibleActionInterface>
#include <gmock/gmock.h>

namespace velmo {
namespace {

using testing::Contains;
using testing::Not;

QAccessibleActionInterface& actionsOf(QWidget& widget)
{
    return *QAccessible::queryAccessibleInterface(&widget)->actionInterface();
}

const QString& toggleAction()
{
    return QAccessibleActionInterface::toggleAction();
}
const QString& pressAction()
{
    return QAccessibleActionInterface::pressAction();
}

TEST(WindowAccessibleTest, WhatCanBeSwitchedIsToggled)
{
    CheckBox box(QStringLiteral("Check"));
    QAccessibleActionInterface& actions = actionsOf(box);
    EXPECT_EQ(actions.actionNames().constFirst(), toggleAction());
    EXPECT_THAT(actions.actionNames(), Not(Contains(pressAction())));
    actions.doAction(pressAction());
    EXPECT_FALSE(box.isChecked());
    actions.doAction(toggleAction());
    EXPECT_TRUE(box.isChecked());
    actions.doAction(toggleAction());
    EXPECT_FALSE(box.isChecked());
}

TEST(WindowAccessibleTest, WhatIsPressedOrChosenIsPressed)
{
    PushButton button(PushButton::Kind::Normal, QStringLiteral("Push"));
    RadioButton radio(QStringLiteral("Radio"));
    SegmentedControl tabs({QStringLiteral("One")});
    for (QAbstractButton* pressed :
         {static_cast<QAbstractButton*>(&button), static_cast<QAbstractButton*>(&radio),
          tabs.findChild<QAbstractButton*>()}) {
        int clicks = 0;
        QObject::connect(pressed, &QAbstractButton::clicked, [&clicks] { ++clicks; });
        QAccessibleActionInterface& actions = actionsOf(*pressed);
        EXPECT_EQ(actions.actionNames().constFirst(), pressAction()) << pressed->text().toStdString();
        EXPECT_THAT(actions.actionNames(), Not(Contains(toggleAction())));
        actions.doAction(toggleAction());
        EXPECT_EQ(clicks, 0);
        actions.doAction(pressAction());
        EXPECT_EQ(clicks, 1);
    }
}

TEST(WindowAccessibleTest, WhatIsDisabledOffersNothingToDo)
{
    CheckBox box(QStringLiteral("Check"));
    PushButton button(PushButton::Kind::Normal, QStringLiteral("Push"));
    for (QWidget* widget : {static_cast<QWidget*>(&box), static_cast<QWidget*>(&button)}) {
        widget->setEnabled(false);
        EXPECT_THAT(actionsOf(*widget).actionNames(), Not(Contains(toggleAction())));
        EXPECT_THAT(actionsOf(*widget).actionNames(), Not(Contains(pressAction())));
    }
}

} // namespace
} // namespace velmo
