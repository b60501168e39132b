#include "support/core/EventLoop.h"
#include "support/widgets/Paints.h"
#include "widgets/CheckBox.h"
#include "widgets/FieldFrame.h"
#include "widgets/FormRow.h"
#include "widgets/FormSection.h"
#include "widgets/PushButton.h"
#include "widgets/RadioButton.h"
#include "widgets/SegmentedControl.h"

#include <QApplication>
#include <QLineEdit>
#include <QVBoxLayout>
#include <gtest/gtest.h>
#include <map>
#include <string>

namespace velmo {
namespace {

/// Controls that paint themselves by what the toolkit tells them of: the whole of them, beyond their parts.
class RepaintTest : public testing::Test {
protected:
    RepaintTest()
    {
        auto* section = new FormSection(QStringLiteral("Section"));
        section->addRow(new FormRow(QStringLiteral("Row")));
        auto* stack = new QVBoxLayout(&window);
        for (const auto& [name, widget] : std::map<std::string, QWidget*>{
                 {"check box", new CheckBox(QStringLiteral("Check"))},
                 {"radio button", new RadioButton(QStringLiteral("Radio"))},
                 {"push button", new PushButton(PushButton::Kind::Normal, QStringLiteral("Push"))},
                 {"segments", new SegmentedControl({QStringLiteral("One")})},
                 {"field", frame},
                 {"section", section}}) {
            widget->setMinimumHeight(40);
            stack->addWidget(widget);
            widgets.emplace(name, widget);
        }
        stack->addWidget(other);
        window.show();
        QApplication::setActiveWindow(&window);
        other->setFocus();
        settle();
    }

    QWidget window;
    QLineEdit* field = new QLineEdit;
    QLineEdit* other = new QLineEdit;
    FieldFrame* frame = new FieldFrame(field, QMargins(4, 4, 4, 4));
    std::map<std::string, QWidget*> widgets;
};

TEST_F(RepaintTest, FollowsWhetherTheyCanBeUsed)
{
    for (const auto& [name, widget] : widgets) {
        const Paints paints(*widget);
        EXPECT_TRUE(paints.isNothing()) << name;
        widget->setEnabled(false);
        EXPECT_TRUE(turnUntil([&] { return paints.isAll(); })) << name;
    }
}

TEST_F(RepaintTest, AFieldFollowsTheKeyboard)
{
    Paints paints(*frame);
    field->setFocus();
    EXPECT_TRUE(turnUntil([&] { return paints.isAll(); })) << "the halo comes";
    settle();
    paints.forget();
    other->setFocus();
    EXPECT_TRUE(turnUntil([&] { return paints.isAll(); })) << "the halo goes";
}

} // namespace
} // namespace velmo
