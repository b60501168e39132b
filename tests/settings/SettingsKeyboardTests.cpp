#include "support/settings/SettingsTest.h"

#include "widgets/FocusRing.h"
#include "widgets/SegmentedControl.h"

namespace velmo {
namespace {

class SettingsKeyboardTest : public SettingsTest {
protected:
    /// As Tab does, wherever the focus is.
    void tab() const { press(Qt::Key_Tab); }
    void backtab() const { press(Qt::Key_Backtab, {}, Qt::ShiftModifier); }

    [[nodiscard]] QString focusedName() const
    {
        const QWidget* focused = view->focusWidget();
        return focused != nullptr ? focused->accessibleName() : QString();
    }
    [[nodiscard]] const FocusRing& ring() const { return *all<FocusRing>().at(0); }
};

TEST_F(SettingsKeyboardTest, TabGoesThroughTheControlsInReadingOrder)
{
    button(QStringLiteral("General")).setFocus(Qt::TabFocusReason);
    field(0).setText(QStringLiteral("x"));
    QStringList names;
    for (int i = 0; i < 11; ++i) {
        names.append(focusedName());
        tab();
    }
    EXPECT_THAT(names,
                testing::ElementsAre(QStringLiteral("General"), QStringLiteral("Anthropic API Key"),
                                     QStringLiteral("Save"), QStringLiteral("OpenAI API Key"),
                                     QStringLiteral("Things to know"), QStringLiteral("Change…"),
                                     QStringLiteral("Command"), QStringLiteral("Option"),
                                     QStringLiteral("Control"), QStringLiteral("Middle Mouse Button"),
                                     QStringLiteral("Single Stroke — auto-submit after first stroke")));
    EXPECT_EQ(focusedName(), QStringLiteral("General"));
    backtab();
    EXPECT_EQ(focusedName(), QStringLiteral("Single Stroke — auto-submit after first stroke"));
}

TEST_F(SettingsKeyboardTest, ArrowsChooseTheTab)
{
    button(QStringLiteral("General")).setFocus(Qt::TabFocusReason);
    press(Qt::Key_Right);
    EXPECT_EQ(settings->settingsSelectedTab.value(), 1);
    EXPECT_EQ(focusedName(), QStringLiteral("Permissions"));
    press(Qt::Key_Left);
    EXPECT_EQ(settings->settingsSelectedTab.value(), 0);
}

TEST_F(SettingsKeyboardTest, ArrowsChooseTheSubmitMode)
{
    button(QStringLiteral("Single Stroke — auto-submit after first stroke")).setFocus(Qt::TabFocusReason);
    press(Qt::Key_Down);
    EXPECT_EQ(settings->submitMode.value(), SubmitMode::ManualSubmit);
    press(Qt::Key_Up);
    EXPECT_EQ(settings->submitMode.value(), SubmitMode::SingleStroke);
}

TEST_F(SettingsKeyboardTest, SpaceTurnsTogglesAndPressesButtons)
{
    button(QStringLiteral("Control")).setFocus(Qt::TabFocusReason);
    press(Qt::Key_Space, QStringLiteral(" "));
    EXPECT_EQ(settings->quickDrawModifiers.value(), 0x1C0000);
    button(QStringLiteral("Change…")).setFocus(Qt::TabFocusReason);
    press(Qt::Key_Space, QStringLiteral(" "));
    EXPECT_EQ(sheets, 1);
}

TEST_F(SettingsKeyboardTest, TheFocusStaysInTheRowThatChangesItsFace)
{
    field(0).setFocus(Qt::TabFocusReason);
    press(Qt::Key_K, QStringLiteral("k"));
    press(Qt::Key_Return);
    EXPECT_EQ(focusedName(), QStringLiteral("Anthropic API Key is set"));
    tab();
    EXPECT_EQ(view->focusWidget(), &inRow(0, QStringLiteral("Clear")));
    press(Qt::Key_Space, QStringLiteral(" "));
    EXPECT_EQ(view->focusWidget(), &field(0));
}

TEST_F(SettingsKeyboardTest, ASecondReturnOrSpaceLeavesTheSavedKeyAlone)
{
    for (const int key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space}) {
        type(field(0), QStringLiteral("k"));
        press(Qt::Key_Return);
        // On some desktops Return presses every button.
        EXPECT_EQ(dynamic_cast<QAbstractButton*>(view->focusWidget()), nullptr);
        press(key);
        EXPECT_EQ(stored(KeychainAccount::Anthropic), QStringLiteral("k"));
        EXPECT_TRUE(row(0).isSet());
        EXPECT_TRUE(ring().isVisible());
        inRow(0, QStringLiteral("Clear")).click();
    }
}

TEST_F(SettingsKeyboardTest, ASavedKeyIsNoStopOfTheTabKey)
{
    put(KeychainAccount::Anthropic, "sk-1");
    reopen();
    button(QStringLiteral("General")).setFocus(Qt::TabFocusReason);
    tab();
    EXPECT_EQ(view->focusWidget(), &inRow(0, QStringLiteral("Clear")));
}

TEST_F(SettingsKeyboardTest, TheRingShowsWhatTheKeyboardReached)
{
    field(0).setFocus();
    button(QStringLiteral("General")).setFocus(Qt::TabFocusReason);
    settle();
    EXPECT_EQ(ring().target(), &button(QStringLiteral("General")));
    EXPECT_TRUE(ring().isVisible());
    for (const QString& name : {QStringLiteral("Change…"), QStringLiteral("Option"),
                                QStringLiteral("Single Stroke — auto-submit after first stroke")}) {
        button(name).setFocus(Qt::TabFocusReason);
        settle();
        EXPECT_EQ(ring().target(), &button(name));
        EXPECT_TRUE(ring().isVisible());
    }
    // A field shows it by its own box.
    field(0).setFocus(Qt::TabFocusReason);
    EXPECT_FALSE(ring().isVisible());
}

TEST_F(SettingsKeyboardTest, TheFormScrollsToWhatTheKeyboardReaches)
{
    button(QStringLiteral("Change…")).setFocus(Qt::TabFocusReason);
    for (int i = 0; i < 5; ++i)
        tab();
    const QAbstractButton& last = button(QStringLiteral("Single Stroke — auto-submit after first stroke"));
    EXPECT_TRUE(last.hasFocus());
    EXPECT_EQ(last.visibleRegion().boundingRect(), last.rect());
}

TEST_F(SettingsKeyboardTest, OpeningTheWindowRingsNothing)
{
    EXPECT_FALSE(ring().isVisible());
}

} // namespace
} // namespace velmo
