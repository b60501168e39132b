#include "support/settings/SettingsTest.h"

#include <QAccessible>
#include <QAccessibleActionInterface>

namespace velmo {
namespace {

class SettingsAccessibilityTest : public SettingsTest {
protected:
    template <typename Widget>
    [[nodiscard]] QAccessibleInterface& part(const QString& name) const
    {
        return *QAccessible::queryAccessibleInterface(named<Widget>(name));
    }
    [[nodiscard]] QAccessible::Role roleOf(const QString& name) const { return part<QWidget>(name).role(); }
};

TEST_F(SettingsAccessibilityTest, EveryControlHasItsRole)
{
    EXPECT_EQ(roleOf(QStringLiteral("General")), QAccessible::PageTab);
    EXPECT_EQ(roleOf(QStringLiteral("Permissions")), QAccessible::PageTab);
    EXPECT_EQ(roleOf(QStringLiteral("Tabs")), QAccessible::PageTabList);
    EXPECT_EQ(roleOf(QStringLiteral("API Keys")), QAccessible::Grouping);
    EXPECT_EQ(roleOf(QStringLiteral("Anthropic API Key")), QAccessible::EditableText);
    EXPECT_EQ(roleOf(QStringLiteral("Save")), QAccessible::PushButton);
    EXPECT_EQ(roleOf(QStringLiteral("Change…")), QAccessible::PushButton);
    EXPECT_EQ(roleOf(QStringLiteral("Quick Draw Modifiers")), QAccessible::Grouping);
    EXPECT_EQ(roleOf(QStringLiteral("Command")), QAccessible::CheckBox);
    EXPECT_EQ(roleOf(QStringLiteral("Submit Mode")), QAccessible::Grouping);
    EXPECT_EQ(roleOf(QStringLiteral("Manual Submit — press Done when ready")), QAccessible::RadioButton);
    EXPECT_EQ(part<PlainTextEditor>(QStringLiteral("Things to know")).role(), QAccessible::EditableText);
    EXPECT_EQ(part<QAbstractButton>(QStringLiteral("Middle Mouse Button")).role(), QAccessible::CheckBox);
}

TEST_F(SettingsAccessibilityTest, EverythingThatTakesTheKeyboardHasAName)
{
    int controls = 0;
    for (QWidget* widget : all<QWidget>()) {
        if ((widget->focusPolicy() & Qt::TabFocus) == 0 || widget->focusProxy() != nullptr)
            continue;
        ++controls;
        const QAccessibleInterface* described = QAccessible::queryAccessibleInterface(widget);
        EXPECT_FALSE(described->text(QAccessible::Name).isEmpty()) << widget->metaObject()->className();
        EXPECT_NE(described->role(), QAccessible::Client) << described->text(QAccessible::Name).toStdString();
    }
    EXPECT_GE(controls, 12);
}

TEST_F(SettingsAccessibilityTest, MarksTellWhetherTheyAreOn)
{
    EXPECT_TRUE(part<QWidget>(QStringLiteral("Command")).state().checkable);
    EXPECT_TRUE(part<QWidget>(QStringLiteral("Command")).state().checked);
    EXPECT_FALSE(part<QWidget>(QStringLiteral("Control")).state().checked);
    EXPECT_TRUE(part<QWidget>(QStringLiteral("General")).state().selected);
    EXPECT_FALSE(part<QWidget>(QStringLiteral("Permissions")).state().selected);
    EXPECT_FALSE(part<QWidget>(QStringLiteral("General")).state().checkable);
    EXPECT_FALSE(part<QWidget>(QStringLiteral("Save")).state().checkable);
    EXPECT_TRUE(part<QWidget>(QStringLiteral("Save")).state().disabled);
}

TEST_F(SettingsAccessibilityTest, ControlsCanBeWorkedFromAfar)
{
    const auto act = [this](const QString& name) {
        QAccessibleActionInterface* actions = part<QAbstractButton>(name).actionInterface();
        ASSERT_NE(actions, nullptr);
        actions->doAction(actions->actionNames().constFirst());
        settle();
    };
    act(QStringLiteral("Control"));
    EXPECT_EQ(settings->quickDrawModifiers.value(), 0x1C0000);
    act(QStringLiteral("Manual Submit — press Done when ready"));
    EXPECT_EQ(settings->submitMode.value(), SubmitMode::ManualSubmit);
    act(QStringLiteral("Change…"));
    EXPECT_EQ(sheets, 1);
    act(QStringLiteral("Permissions"));
    EXPECT_EQ(settings->settingsSelectedTab.value(), 1);
}

TEST_F(SettingsAccessibilityTest, ButtonsOfARowSayWhichKeyTheyAreFor)
{
    put(KeychainAccount::OpenAI, "sk-2");
    reopen();
    EXPECT_EQ(inRow(0, QStringLiteral("Save")).accessibleDescription(), QStringLiteral("Anthropic API Key"));
    EXPECT_EQ(inRow(1, QStringLiteral("Clear")).accessibleDescription(), QStringLiteral("OpenAI API Key"));
    EXPECT_TRUE(named<QLabel>(QStringLiteral("OpenAI API Key is set"))->isVisible());
}

TEST_F(SettingsAccessibilityTest, TheHotkeyIsSaidInWordsWhereItIsChanged)
{
    const auto said = [this] {
        settle();
        return part<QAbstractButton>(QStringLiteral("Change…")).text(QAccessible::Description);
    };
    EXPECT_EQ(said(), QStringLiteral("Hotkey: Ctrl + Alt + Space"));
    gestureProblems.set({.hotkey = QStringLiteral("It is taken.")});
    EXPECT_EQ(said(), QStringLiteral("Hotkey: Ctrl + Alt + Space. It is taken."));
    gestureProblems.set({});
    settings->hotkeyKeyCode.set(48);
    EXPECT_EQ(said(), QStringLiteral("Hotkey: Ctrl + Alt + Tab"));
}

TEST_F(SettingsAccessibilityTest, WhyAGestureDoesNotWorkIsSaidAtItsControls)
{
    const auto said = [this](const QString& control) {
        settle();
        return part<QAbstractButton>(control).text(QAccessible::Description);
    };
    gestureProblems.set(
        {.chord = QStringLiteral("It is taken."), .middleButton = QStringLiteral("So is it.")});
    EXPECT_EQ(said(QStringLiteral("Option")), QStringLiteral("It is taken."));
    EXPECT_EQ(said(QStringLiteral("Middle Mouse Button")), QStringLiteral("So is it."));
    gestureProblems.set({});
    EXPECT_EQ(said(QStringLiteral("Option")), QString());
}

TEST_F(SettingsAccessibilityTest, WhatThereIsToSayAboutAKeyIsSaidAtItsControls)
{
    keychain->isAvailable = false;
    type(field(0), QStringLiteral("k"));
    inRow(0, QStringLiteral("Save")).click();
    const QString note = QStringLiteral("The key was not saved.");
    const QString withLabel = QStringLiteral("Anthropic API Key. ") + note;
    EXPECT_EQ(inRow(0, QStringLiteral("Save")).accessibleDescription(), withLabel);
    EXPECT_EQ(inRow(0, QStringLiteral("Clear")).accessibleDescription(), withLabel);
    EXPECT_EQ(field(0).accessibleDescription(), note);
    EXPECT_EQ(view->focusWidget()->accessibleDescription(), note);
    EXPECT_EQ(field(1).accessibleDescription(), QString());
    reopen();
    EXPECT_EQ(inRow(0, QStringLiteral("Save")).accessibleDescription(), QStringLiteral("Anthropic API Key"));
    EXPECT_EQ(field(0).accessibleDescription(), QString());
}

} // namespace
} // namespace velmo
