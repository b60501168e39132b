#include "support/settings/SettingsTest.h"

#include "widgets/SegmentedControl.h"

#include <QClipboard>
#include <QMimeData>
#include <QTextCursor>
#include <algorithm>

namespace velmo {
namespace {

class SettingsViewTest : public SettingsTest {
protected:
    static inline const QString kSingle = QStringLiteral("Single Stroke — auto-submit after first stroke");
    static inline const QString kManual = QStringLiteral("Manual Submit — press Done when ready");

    [[nodiscard]] SegmentedControl& tabs() const { return *all<SegmentedControl>().at(0); }
    [[nodiscard]] bool showsForm() const { return shows(QStringLiteral("API Keys")); }
};

TEST_F(SettingsViewTest, TextsAreThese)
{
    const QString name = QStringLiteral("Hotkey");
    EXPECT_THAT(shownTexts(),
                testing::UnorderedElementsAre(
                    QStringLiteral("API Keys"), QStringLiteral("Anthropic"), QStringLiteral("OpenAI"),
                    QStringLiteral("Things to know"),
                    QStringLiteral("Extra hidden guidance appended to the built-in system prompt."),
                    QStringLiteral("Activation"), name, QStringLiteral("⌃⌥Space"),
                    QStringLiteral("Quick Draw Modifiers"), QStringLiteral("Middle Mouse Button"),
                    QStringLiteral("⌥⌘ + Click or Middle Mouse Button"), QStringLiteral("Drawing"),
                    QStringLiteral("Submit Mode")));
    QStringList buttons;
    for (const QAbstractButton* shown : all<QAbstractButton>()) {
        if (shown->isVisible())
            buttons.append(shown->text());
    }
    EXPECT_THAT(buttons,
                testing::UnorderedElementsAre(
                    QStringLiteral("General"), QStringLiteral("Permissions"), QStringLiteral("Save"),
                    QStringLiteral("Save"), QStringLiteral("Change…"), QStringLiteral("Command"),
                    QStringLiteral("Option"), QStringLiteral("Control"), QString(), kSingle, kManual));
}

TEST_F(SettingsViewTest, SectionsStandInTheirOrder)
{
    const auto top = [this](const QString& title) {
        for (const QLabel* label : all<QLabel>()) {
            if (label->text() == title)
                return label->mapTo(view.get(), QPoint()).y();
        }
        return -1;
    };
    const std::vector<int> tops{top(QStringLiteral("API Keys")), top(QStringLiteral("Things to know")),
                                top(QStringLiteral("Activation")), top(QStringLiteral("Drawing"))};
    EXPECT_GT(tops.front(), 0);
    EXPECT_TRUE(std::ranges::is_sorted(tops));
}

TEST_F(SettingsViewTest, ThePromptIsStoredAsTyped)
{
    settings->systemPrompt.set({});
    settle();
    type(editor(), QStringLiteral("  two\u00a0"));
    press(Qt::Key_Return);
    type(editor(), QStringLiteral("lines "));
    EXPECT_EQ(settings->systemPrompt.value(), QStringLiteral("  two\u00a0\nlines "));
    EXPECT_EQ(defaults->values.value(QStringLiteral("systemPrompt")),
              QJsonValue(QStringLiteral("  two\u00a0\nlines ")));
}

TEST_F(SettingsViewTest, EachKeyIsOneWrite)
{
    settings->systemPrompt.set({});
    settle();
    defaults->writes.clear();
    type(editor(), QStringLiteral("abc"));
    EXPECT_EQ(defaults->writes.size(), 3U);
    // Moving about writes nothing.
    press(Qt::Key_Left);
    press(Qt::Key_A, {}, Qt::ControlModifier);
    EXPECT_EQ(defaults->writes.size(), 3U);
}

TEST_F(SettingsViewTest, AnUneditedPromptIsNotStored)
{
    EXPECT_FALSE(defaults->values.contains(QStringLiteral("systemPrompt")));
    EXPECT_EQ(editor().text(), settings->systemPrompt.value());
    reopen();
    EXPECT_FALSE(defaults->values.contains(QStringLiteral("systemPrompt")));
}

TEST_F(SettingsViewTest, APromptWithOtherLineEndsStaysUntilItIsEdited)
{
    const QString odd = QStringLiteral("one\r\ntwo\u2028three");
    settings->systemPrompt.set(odd);
    settle();
    defaults->writes.clear();
    reopen();
    EXPECT_EQ(editor().text(), QStringLiteral("one\ntwo\nthree"));
    EXPECT_EQ(settings->systemPrompt.value(), odd);
    EXPECT_TRUE(defaults->writes.empty());
}

TEST_F(SettingsViewTest, APromptFromElsewhereIsShown)
{
    settings->systemPrompt.set(QStringLiteral("from elsewhere"));
    settle();
    EXPECT_EQ(editor().text(), QStringLiteral("from elsewhere"));
    press(Qt::Key_Z, {}, Qt::ControlModifier);
    EXPECT_EQ(settings->systemPrompt.value(), QStringLiteral("from elsewhere"));
}

TEST_F(SettingsViewTest, TypingKeepsTheCursorWhereItIs)
{
    settings->systemPrompt.set(QStringLiteral("ac"));
    settle();
    QTextCursor cursor = editor().textCursor();
    cursor.setPosition(1);
    editor().setTextCursor(cursor);
    type(editor(), QStringLiteral("b"));
    EXPECT_EQ(editor().textCursor().position(), 2);
    EXPECT_EQ(settings->systemPrompt.value(), QStringLiteral("abc"));
    press(Qt::Key_Z, {}, Qt::ControlModifier);
    EXPECT_EQ(settings->systemPrompt.value(), QStringLiteral("ac"));
}

TEST_F(SettingsViewTest, PastedTextIsPlain)
{
    settings->systemPrompt.set({});
    settle();
    editor().setFocus();
    auto* rich = new QMimeData;
    rich->setHtml(QStringLiteral("<b>bold</b>"));
    rich->setText(QStringLiteral("bold"));
    QGuiApplication::clipboard()->setMimeData(rich);
    press(Qt::Key_V, {}, Qt::ControlModifier);
    EXPECT_EQ(editor().text(), QStringLiteral("bold"));
    EXPECT_NE(editor().textCursor().charFormat().fontWeight(), QFont::Bold);
}

TEST_F(SettingsViewTest, TheSubmitModeIsBoundBothWays)
{
    EXPECT_TRUE(button(kSingle).isChecked());
    button(kManual).click();
    EXPECT_EQ(settings->submitMode.value(), SubmitMode::ManualSubmit);
    EXPECT_EQ(defaults->values.value(QStringLiteral("submitMode")),
              QJsonValue(QStringLiteral("manualSubmit")));
    EXPECT_FALSE(button(kSingle).isChecked());
    settings->submitMode.set(SubmitMode::SingleStroke);
    settle();
    EXPECT_TRUE(button(kSingle).isChecked());
    EXPECT_FALSE(button(kManual).isChecked());
}

TEST_F(SettingsViewTest, TheChosenModeCanBeClickedAgain)
{
    defaults->writes.clear();
    button(kSingle).click();
    EXPECT_TRUE(button(kSingle).isChecked());
    EXPECT_TRUE(defaults->writes.empty());
}

TEST_F(SettingsViewTest, TabsAreBoundBothWays)
{
    EXPECT_EQ(tabs().currentIndex(), 0);
    EXPECT_TRUE(showsForm());
    button(QStringLiteral("Permissions")).click();
    EXPECT_EQ(settings->settingsSelectedTab.value(), 1);
    settle();
    EXPECT_FALSE(showsForm());
    EXPECT_TRUE(permissions->isVisible());
    settings->settingsSelectedTab.set(0);
    settle();
    EXPECT_EQ(tabs().currentIndex(), 0);
    EXPECT_TRUE(showsForm());
    EXPECT_FALSE(permissions->isVisible());
}

TEST_F(SettingsViewTest, TheSecondTabIsMadeOnceWhenItIsFirstChosen)
{
    EXPECT_EQ(permissionViews, 0);
    for (const int tab : {1, 0, 1}) {
        settings->settingsSelectedTab.set(tab);
        settle();
    }
    EXPECT_EQ(permissionViews, 1);
    EXPECT_EQ(permissions->geometry(), QRect(0, 57, 520, 523));
}

TEST_F(SettingsViewTest, AWindowThatIsOpenedOnATabShowsItAtOnce)
{
    view->hide();
    settings->settingsSelectedTab.set(1);
    view->show();
    EXPECT_TRUE(permissions->isVisible());
    EXPECT_FALSE(showsForm());
}

TEST_F(SettingsViewTest, WithoutASecondTabsContentsItIsEmpty)
{
    view = std::make_unique<SettingsRootView>(settings, SettingsCollaborators{});
    show();
    settings->settingsSelectedTab.set(1);
    settle();
    EXPECT_FALSE(showsForm());
    EXPECT_EQ(tabs().currentIndex(), 1);
    button(QStringLiteral("General")).click();
    settle();
    EXPECT_TRUE(showsForm());
    button(QStringLiteral("Change…")).click();
    button(QStringLiteral("Control")).click();
    settle();
    EXPECT_EQ(settings->quickDrawModifiers.value(), 0x1C0000);
}

TEST_F(SettingsViewTest, ChangesAfterTheWindowIsGoneAreHarmless)
{
    settings->systemPrompt.set(QStringLiteral("late"));
    settings->settingsSelectedTab.set(1);
    view.reset();
    settings->submitMode.set(SubmitMode::ManualSubmit);
    gestureProblems.set({.hotkey = QStringLiteral("late")});
    settle();
    EXPECT_EQ(permissionViews, 0);
}

} // namespace
} // namespace velmo
