#include "platform/EventTap.h"
#include "support/settings/SettingsTest.h"
#include "widgets/FormRow.h"

#include <algorithm>

namespace velmo {
namespace {

using namespace ModifierFlag;

class ActivationTest : public SettingsTest {
protected:
    static inline const QString kCommand = QStringLiteral("Command");
    static inline const QString kOption = QStringLiteral("Option");
    static inline const QString kControl = QStringLiteral("Control");
    static inline const QString kMiddle = QStringLiteral("Middle Mouse Button");

    void SetUp() override
    {
        SettingsTest::SetUp();
        setModifiers(Option | Command);
        restarts = 0;
        defaults->writes.clear();
    }
    void setModifiers(quint64 modifiers) const
    {
        settings->quickDrawModifiers.set(static_cast<qint64>(modifiers));
        settle();
    }
    [[nodiscard]] quint64 modifiers() const
    {
        return static_cast<quint64>(settings->quickDrawModifiers.value());
    }
    [[nodiscard]] QLabel& labelWith(const QString& text) const
    {
        const auto labels = all<QLabel>();
        return **std::ranges::find_if(labels, [&](const QLabel* label) { return label->text() == text; });
    }
    void click(const QString& name) const
    {
        button(name).click();
        settle();
    }
};

TEST_F(ActivationTest, TogglesShowTheirBits)
{
    EXPECT_TRUE(button(kCommand).isChecked());
    EXPECT_TRUE(button(kOption).isChecked());
    EXPECT_FALSE(button(kControl).isChecked());
    setModifiers(Control | Function);
    EXPECT_FALSE(button(kCommand).isChecked());
    EXPECT_FALSE(button(kOption).isChecked());
    EXPECT_TRUE(button(kControl).isChecked());
}

TEST_F(ActivationTest, TurningAToggleOnAddsItsBit)
{
    click(kControl);
    EXPECT_EQ(modifiers(), Control | Option | Command);
    setModifiers(0);
    click(kCommand);
    EXPECT_EQ(modifiers(), 0x100000U);
    click(kOption);
    EXPECT_EQ(modifiers(), 0x180000U);
    click(kControl);
    EXPECT_EQ(modifiers(), 0x1C0000U);
}

TEST_F(ActivationTest, TurningAToggleOffTakesItsBitAlone)
{
    setModifiers(Option | Command | Function | Shift);
    click(kCommand);
    EXPECT_EQ(modifiers(), Option | Function | Shift);
    click(kOption);
    EXPECT_EQ(modifiers(), Function | Shift);
    click(kOption);
    EXPECT_EQ(modifiers(), Option | Function | Shift);
}

TEST_F(ActivationTest, TurningOffWhatIsOffChangesNothing)
{
    // The box is on while the bit is gone: somebody else was quicker than the view.
    button(kControl).setChecked(true);
    button(kControl).click();
    settle();
    EXPECT_FALSE(button(kControl).isChecked());
    EXPECT_EQ(modifiers(), Option | Command);
    EXPECT_TRUE(defaults->writes.empty());
    EXPECT_EQ(restarts, 0);
}

TEST_F(ActivationTest, EachChangeIsStoredAtOnce)
{
    button(kControl).click();
    EXPECT_EQ(defaults->values.value(QStringLiteral("quickDrawModifiers")), QJsonValue(0x1C0000));
    button(kMiddle).click();
    EXPECT_EQ(defaults->values.value(QStringLiteral("quickDrawMiddleMouseEnabled")), QJsonValue(false));
}

TEST_F(ActivationTest, TheMiddleButtonIsBoundBothWays)
{
    EXPECT_TRUE(button(kMiddle).isChecked());
    click(kMiddle);
    EXPECT_FALSE(settings->quickDrawMiddleMouseEnabled.value());
    settings->quickDrawMiddleMouseEnabled.set(true);
    settle();
    EXPECT_TRUE(button(kMiddle).isChecked());
}

TEST_F(ActivationTest, TheTitleOfTheMiddleButtonCanBeClickedToo)
{
    const auto send = [](QEvent::Type type, QWidget& widget, Qt::MouseButton mouseButton) {
        const QPoint place = widget.rect().center();
        QMouseEvent event(type, place, widget.mapToGlobal(place), mouseButton, Qt::NoButton, {});
        QApplication::sendEvent(&widget, &event);
    };
    const auto clickOn = [&](QWidget& widget, Qt::MouseButton mouseButton) {
        send(QEvent::MouseButtonPress, widget, mouseButton);
        send(QEvent::MouseButtonRelease, widget, mouseButton);
        settle();
    };
    clickOn(labelWith(kMiddle), Qt::LeftButton);
    EXPECT_FALSE(settings->quickDrawMiddleMouseEnabled.value());
    clickOn(labelWith(kMiddle), Qt::RightButton);
    EXPECT_FALSE(settings->quickDrawMiddleMouseEnabled.value());
    clickOn(*named<FormRow>(kMiddle), Qt::LeftButton);
    EXPECT_FALSE(settings->quickDrawMiddleMouseEnabled.value());
    clickOn(labelWith(kMiddle), Qt::LeftButton);
    EXPECT_TRUE(settings->quickDrawMiddleMouseEnabled.value());
    clickOn(labelWith(QStringLiteral("Hotkey")), Qt::LeftButton);
    EXPECT_EQ(sheets, 0);
}

TEST_F(ActivationTest, TheCaptionFollows)
{
    EXPECT_TRUE(shows(QStringLiteral("⌥⌘ + Click or Middle Mouse Button")));
    click(kMiddle);
    EXPECT_TRUE(shows(QStringLiteral("⌥⌘ + Click")));
    click(kOption);
    click(kCommand);
    EXPECT_TRUE(shows(QStringLiteral("Quick draw is disabled until a trigger is enabled.")));
    click(kMiddle);
    EXPECT_EQ(shownTexts().count(kMiddle), 2); // The row and the caption.
}

TEST_F(ActivationTest, AChangeHereRestartsTheMonitorWhichFindsTheNewTrigger)
{
    quint64 found = 0;
    view.reset();
    view = std::make_unique<SettingsRootView>(
        settings, SettingsCollaborators{{}, [&] { found = modifiers(); }, {}, nullptr});
    show();
    click(kControl);
    EXPECT_EQ(found, Control | Option | Command);
}

TEST_F(ActivationTest, EachChangeRestartsTheMonitorOnce)
{
    click(kControl);
    EXPECT_EQ(restarts, 1);
    click(kMiddle);
    EXPECT_EQ(restarts, 2);
    click(kControl);
    EXPECT_EQ(restarts, 3);
}

TEST_F(ActivationTest, ChangesFromElsewhereRestartItToo)
{
    setModifiers(Control);
    EXPECT_EQ(restarts, 1);
    settings->quickDrawMiddleMouseEnabled.set(false);
    settle();
    EXPECT_EQ(restarts, 2);
    view->hide();
    setModifiers(Option);
    EXPECT_EQ(restarts, 3);
}

TEST_F(ActivationTest, AnAssignmentOfTheSameRestartsNothing)
{
    setModifiers(Option | Command);
    settings->quickDrawMiddleMouseEnabled.set(true);
    settings->submitMode.set(SubmitMode::ManualSubmit);
    settings->hotkeyKeyCode.set(48);
    settle();
    reopen();
    EXPECT_EQ(restarts, 0);
}

TEST_F(ActivationTest, NothingIsRestartedAfterTheViewIsGone)
{
    settings->quickDrawModifiers.set(0);
    view.reset();
    setModifiers(Control);
    EXPECT_EQ(restarts, 0);
}

TEST_F(ActivationTest, TheHotkeyIsNamedAndFollowed)
{
    EXPECT_TRUE(shows(QStringLiteral("⌃⌥Space")));
    settings->hotkeyKeyCode.set(0);
    settings->hotkeyModifiers.set(static_cast<qint64>(Shift | Command));
    settle();
    EXPECT_TRUE(shows(QStringLiteral("⇧⌘Key(0)")));
}

TEST_F(ActivationTest, ChangeOpensTheSheet)
{
    click(QStringLiteral("Change…"));
    EXPECT_EQ(sheets, 1);
}

TEST_F(ActivationTest, SaysWhyTheHotkeyDoesNotWork)
{
    const QString taken = QStringLiteral("Taken by another program");
    EXPECT_FALSE(shows(taken));
    gestureProblems.set({.hotkey = taken});
    settle();
    EXPECT_TRUE(shows(taken));
    gestureProblems.set({});
    settle();
    EXPECT_FALSE(shows(taken));
    EXPECT_FALSE(shows({}));
}

TEST_F(ActivationTest, SaysWhichOfTheOtherGesturesDoNotWork)
{
    const QString chord = QStringLiteral("The chord is taken.");
    const QString middle = QStringLiteral("The button is taken.");
    gestureProblems.set({.chord = chord, .middleButton = middle});
    settle();
    EXPECT_TRUE(named<FormRow>(QStringLiteral("Quick Draw Modifiers"))->isAncestorOf(&labelWith(chord)));
    EXPECT_TRUE(named<FormRow>(QStringLiteral("Middle Mouse Button"))->isAncestorOf(&labelWith(middle)));
    gestureProblems.set({.middleButton = middle});
    settle();
    EXPECT_FALSE(shows(chord));
    EXPECT_TRUE(shows(middle));
}

TEST_F(ActivationTest, AHotkeyProblemOfSeveralLinesIsReadableAsAWhole)
{
    const QString name = QStringLiteral("Hotkey");
    const FormRow& row = *named<FormRow>(name);
    const int before = row.height();
    const int section = row.parentWidget()->height();
    EXPECT_EQ(before, 44);
    const QString sentences =
        QStringLiteral("Another program has taken ⌃⌥Space, so the hotkey does nothing there at the moment. "
                       "Choose another combination, or close the program that has this one.");
    for (const QString& problem : {sentences, sentences + u'\n' + sentences}) {
        gestureProblems.set({.hotkey = problem});
        settle();
        ASSERT_TRUE(shows(problem));
        const QLabel& label = labelWith(problem);
        const QRect place(label.mapTo(&row, QPoint()), label.size());
        EXPECT_GE(label.height(), label.heightForWidth(label.width()));
        EXPECT_GT(label.height(), label.fontMetrics().height());
        EXPECT_TRUE(row.rect().contains(place));
        EXPECT_GE(row.rect().bottom() - place.bottom(), 4);
        // The controls keep their places beside it.
        EXPECT_LT(place.right(), button(QStringLiteral("Change…")).x());
        EXPECT_EQ(row.parentWidget()->height() - section, row.height() - before);
    }
    gestureProblems.set({});
    settle();
    EXPECT_EQ(row.height(), before);
}

} // namespace
} // namespace velmo
