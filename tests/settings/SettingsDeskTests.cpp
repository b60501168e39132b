// The settings with a real keyboard and a real mouse, on a desktop with a window manager.

#include "platform/x11/X11WindowSurfaces.h"
#include "support/accessibility/AtSpiReader.h"
#include "support/settings/SettingsTest.h"
#include "support/x11/Await.h"
#include "support/x11/InputDriver.h"
#include "support/x11/VirtualDisplay.h"

#include "settings/SettingsView.h"

#include <QAccessible>
#include <QClipboard>

namespace velmo::test {
namespace {

/// Hears what assistive technology is to read out at once. Events are made only where there is a bus for
/// them.
class Alerts {
public:
    Alerts()
    {
        texts.clear();
        QAccessible::installUpdateHandler([](QAccessibleEvent* event) {
            if (event->type() == QAccessible::Alert)
                texts.append(static_cast<const QLabel*>(event->object())->text());
        });
    }
    Alerts(const Alerts&) = delete;
    Alerts& operator=(const Alerts&) = delete;
    ~Alerts() { QAccessible::installUpdateHandler(nullptr); }

    static inline QStringList texts;
};

class SettingsDesk : public SettingsTest {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(display().startWindowManager());
        build();
        DialogWindow::bringToFront(*view, surfaces_);
        ASSERT_TRUE(awaitCondition([this] { return view->isActiveWindow(); }));
    }
    void TearDown() override
    {
        view.reset();
        display().stopWindowManager();
    }

    void pointAt(const QWidget& widget)
    {
        const QPoint point = widget.mapToGlobal(widget.rect().center());
        input_.moveTo(point.x(), point.y());
    }
    void click(const QWidget& widget)
    {
        pointAt(widget);
        input_.click(1);
    }
    /// Users wait for the cursor, too: the window manager has a word in the focus.
    void clickInto(const QWidget& typed)
    {
        click(typed);
        ASSERT_TRUE(awaitCondition([&] { return typed.hasFocus(); }));
        settle();
    }
    /// From beyond the end of the first line to its start, which selects it.
    void dragLeft(const QWidget& typed)
    {
        constexpr int kInFirstLine = 10;
        const QPoint end = typed.mapToGlobal(QPoint(typed.width() / 2, kInFirstLine));
        input_.moveTo(end.x(), end.y());
        input_.pressButton(1);
        input_.moveTo(typed.mapToGlobal(QPoint()).x(), end.y());
        input_.releaseButton(1);
    }
    void turnWheelDown() { input_.click(5); }

    [[nodiscard]] QScrollBar& formBar() const { return *all<SettingsView>().at(0)->verticalScrollBar(); }

    X11WindowSurfaces surfaces_;
    InputDriver input_;
};

TEST_F(SettingsDesk, AKeyIsTypedAndSavedWithReturn)
{
    clickInto(field(0));
    for (const char* key : {"k", "e", "y", "Return"})
        input_.tap(key);
    EXPECT_TRUE(awaitCondition([this] { return row(0).isSet(); }));
    EXPECT_EQ(stored(KeychainAccount::Anthropic), QStringLiteral("key"));
    click(inRow(0, QStringLiteral("Clear")));
    EXPECT_TRUE(awaitCondition([this] { return !row(0).isSet(); }));
    EXPECT_EQ(stored(KeychainAccount::Anthropic), QString());
}

TEST_F(SettingsDesk, AKeyIsSavedByTheButton)
{
    clickInto(field(1));
    input_.tap("x");
    EXPECT_TRUE(awaitCondition([this] { return inRow(1, QStringLiteral("Save")).isEnabled(); }));
    click(inRow(1, QStringLiteral("Save")));
    EXPECT_TRUE(awaitCondition([this] { return row(1).isSet(); }));
    EXPECT_EQ(stored(KeychainAccount::OpenAI), QStringLiteral("x"));
}

TEST_F(SettingsDesk, AKeyThatIsSelectedComesIntoNoClipboard)
{
    QClipboard& clipboard = *QGuiApplication::clipboard();
    clipboard.clear(QClipboard::Selection);
    clipboard.setText(QStringLiteral("before"));
    settings->systemPrompt.set(QStringLiteral("plain"));
    clickInto(field(0));
    for (const char* key : {"k", "w", "q"})
        input_.tap(key);
    ASSERT_TRUE(awaitCondition([this] { return field(0).text() == u"kwq"; }));

    // The mouse alone gives away what it selects in an ordinary text.
    dragLeft(editor());
    ASSERT_TRUE(awaitCondition([&] { return clipboard.text(QClipboard::Selection) == u"plain"; }));
    dragLeft(field(0));
    ASSERT_TRUE(awaitCondition([this] { return field(0).selectedText().size() == 3; }));
    input_.chord({"Control_L", "c"});
    // What comes after all of it.
    input_.tap("End");
    input_.tap("j");
    EXPECT_TRUE(awaitCondition([this] { return field(0).text() == u"kwqj"; }));
    EXPECT_EQ(clipboard.text(), QStringLiteral("before"));
    EXPECT_EQ(clipboard.text(QClipboard::Selection), QStringLiteral("plain"));
}

TEST_F(SettingsDesk, TabAndSpaceReachTheToggles)
{
    clickInto(editor());
    for (const char* key : {"Tab", "Tab", "Tab", "Tab", "space"})
        input_.tap(key);
    EXPECT_TRUE(awaitCondition([this] { return settings->quickDrawModifiers.value() == 0x1C0000; }));
    EXPECT_TRUE(button(QStringLiteral("Control")).hasFocus());
}

TEST_F(SettingsDesk, TheWheelOverAShortPromptScrollsTheForm)
{
    pointAt(editor());
    turnWheelDown();
    EXPECT_TRUE(awaitCondition([this] { return formBar().value() > 0; }));
}

TEST_F(SettingsDesk, TheWheelOverALongPromptScrollsItAndThenTheForm)
{
    settings->systemPrompt.set(QStringLiteral("line\n").repeated(12));
    QScrollBar& inner = *editor().verticalScrollBar();
    ASSERT_TRUE(awaitCondition([&] { return inner.maximum() > 0; }));
    pointAt(editor());
    turnWheelDown();
    EXPECT_TRUE(awaitCondition([&] { return inner.value() > 0; }));
    EXPECT_EQ(formBar().value(), 0);
    inner.setValue(inner.maximum());
    turnWheelDown();
    EXPECT_TRUE(awaitCondition([this] { return formBar().value() > 0; }));
    EXPECT_EQ(inner.value(), inner.maximum());
}

TEST_F(SettingsDesk, TheScrollBarCanBeDragged)
{
    const QPoint top = formBar().mapToGlobal(QPoint(6, 20));
    input_.moveTo(top.x(), top.y());
    input_.pressButton(1);
    input_.moveTo(top.x(), top.y() + 400);
    EXPECT_TRUE(awaitCondition([this] { return formBar().value() == formBar().maximum(); }));
    input_.releaseButton(1);
    // Beside the handle it comes to the pointer.
    input_.click(1);
    input_.moveTo(top.x(), top.y());
    input_.click(1);
    EXPECT_TRUE(awaitCondition([this] { return formBar().value() == 0; }));
}

TEST_F(SettingsDesk, TheSheetIsOneClickAway)
{
    click(button(QStringLiteral("Change…")));
    EXPECT_TRUE(awaitCondition([this] { return sheets == 1; }));
}

TEST_F(SettingsDesk, WhatBecomesOfAKeyIsReadOutOnce)
{
    const Alerts alerts;
    keychain->isAvailable = false;
    type(field(0), QStringLiteral("k"));
    press(Qt::Key_Return);
    EXPECT_EQ(Alerts::texts, QStringList{QStringLiteral("The key was not saved.")});
    type(field(1), QStringLiteral("k"));
    press(Qt::Key_Return);
    EXPECT_EQ(Alerts::texts.size(), 2);
    view->hide();
    view->show();
    EXPECT_EQ(Alerts::texts.size(), 2);
}

TEST_F(SettingsDesk, AScreenReaderHearsOfAKeyButNoneOfItsCharacters)
{
    AtSpiReader reader(qgetenv("DBUS_SESSION_BUS_ADDRESS").toStdString());
    ASSERT_TRUE(reader.isConnected());
    std::optional<BusObject> application;
    ASSERT_TRUE(awaitCondition([&] {
        application = reader.application(QCoreApplication::applicationPid());
        return application.has_value();
    }));
    const auto heard = [&] {
        reader.process();
        QString texts;
        for (const AtSpiEvent& event : reader.events())
            texts += event.text;
        return texts;
    };
    clickInto(editor());
    input_.tap("z");
    ASSERT_TRUE(awaitCondition([&] { return heard().contains(u'z'); })) << "nothing is heard at all";
    clickInto(field(0));
    reader.forgetEvents();
    for (const char* key : {"k", "w", "q", "BackSpace", "q", "Return"})
        input_.tap(key);
    ASSERT_TRUE(awaitCondition([this] { return row(0).isSet(); }));
    EXPECT_EQ(stored(KeychainAccount::Anthropic), QStringLiteral("kwq"));
    // What comes after all of it.
    clickInto(editor());
    input_.tap("j");
    ASSERT_TRUE(awaitCondition([&] { return heard().contains(u'j'); }));
    for (const QChar character : QStringLiteral("kwq"))
        EXPECT_FALSE(heard().contains(character)) << heard().toStdString();

    const std::optional<BusObject> second = reader.find(*application, QStringLiteral("OpenAI API Key"));
    ASSERT_TRUE(second);
    constexpr unsigned kPasswordText = 40;
    EXPECT_EQ(reader.role(*second), kPasswordText);
}

} // namespace
} // namespace velmo::test
