#include "fakes/FakeKeychain.h"
#include "fakes/InMemoryDefaults.h"
#include "input/HotkeyCaptureSheet.h"
#include "platform/x11/X11KeyReader.h"
#include "platform/x11/X11WindowSurfaces.h"
#include "support/x11/Await.h"
#include "support/x11/InputDriver.h"
#include "support/x11/PlainClient.h"
#include "support/x11/VirtualDisplay.h"

#include <QLabel>
#include <QProcess>
#include <QTimer>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string_view>
#include <xkbcommon/xkbcommon-keysyms.h>

namespace velmo::test {
namespace {

/// The sheet on a desktop with a window manager, beside an application that had the keyboard.
class HotkeySheetDesk : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(display().startWindowManager());
        client_ = std::make_unique<PlainClient>(PlainClient::Options{});
        ASSERT_TRUE(awaitCondition([this] { return client_->hasFocus(); }));
        input_.tap("a");
        sheet_.present();
        ASSERT_TRUE(awaitCondition([this] { return sheet_.window()->isActiveWindow(); }));
        client_->forgetEvents();
    }
    void TearDown() override
    {
        sheet_.window()->close();
        client_.reset();
        display().stopWindowManager();
    }

    [[nodiscard]] std::string text() const
    {
        return sheet_.window()->findChild<QLabel*>()->text().toStdString();
    }
    [[nodiscard]] bool awaitText(const std::string& expected) const
    {
        return awaitCondition([&] { return text() == expected; });
    }

    InputDriver input_;
    std::unique_ptr<PlainClient> client_;
    std::shared_ptr<SettingsManager> settings_ = std::make_shared<SettingsManager>(
        std::make_shared<InMemoryDefaults>(), std::make_shared<FakeKeychain>());
    X11KeyReader keys_;
    int restarts_ = 0;
    int beeps_ = 0;
    X11WindowSurfaces windows_;
    HotkeyCaptureSheet sheet_{settings_, {keys_, windows_, [this] { ++restarts_; }, [this] { ++beeps_; }}};
};

TEST_F(HotkeySheetDesk, RecordsWhatIsPressed)
{
    input_.chord({"Shift_L", "Super_L", "k"});
    EXPECT_TRUE(awaitText("Saved: K with \u21e7\u2318"));
    EXPECT_EQ(settings_->hotkeyKeyCode.value(), 40);
    EXPECT_EQ(settings_->hotkeyModifiers.value(), 0x120000);
    EXPECT_EQ(beeps_, 0);
    EXPECT_TRUE(awaitCondition([this] { return restarts_ == 1; }));
    EXPECT_FALSE(sheet_.window()->isVisible());
    EXPECT_EQ(client_->count(PlainClient::Event::Type::KeyPress, input_.keyCode("k")), 0);
}

TEST_F(HotkeySheetDesk, NamesKeysByWhatTheyTypeWithShiftAlone)
{
    input_.chord({"Control_L", "Alt_L", "space"});
    EXPECT_TRUE(awaitText("Saved:   with \u2303\u2325"));
    input_.chord({"Shift_L", "Super_L", "1"});
    EXPECT_TRUE(awaitText("Saved: ! with \u21e7\u2318"));
    input_.chord({"Control_L", "F5"});
    EXPECT_TRUE(awaitText("Saved: ? with \u2303"));
    EXPECT_EQ(settings_->hotkeyKeyCode.value(), 96);
}

TEST_F(HotkeySheetDesk, ModifiersAndPlainKeysRecordNothing)
{
    input_.tap("Super_L");
    input_.chord({"Control_L", "Alt_L", "Shift_L"});
    input_.tap("Escape");
    input_.tap("k");
    // What comes after all of them.
    input_.chord({"Control_L", "j"});
    EXPECT_TRUE(awaitText("Saved: J with \u2303"));
    EXPECT_EQ(beeps_, 0);
    EXPECT_TRUE(sheet_.window()->isVisible());
}

/// A keyboard map of the test's own; the usual one comes back.
class KeyboardMap {
public:
    explicit KeyboardMap(const QList<QByteArray>& arguments) { set(arguments); }
    KeyboardMap(const KeyboardMap&) = delete;
    KeyboardMap& operator=(const KeyboardMap&) = delete;
    ~KeyboardMap() { set({"-layout", "us"}); }

private:
    static void set(const QList<QByteArray>& arguments)
    {
        QProcess program;
        QStringList words{QStringLiteral("-option"), QString()};
        for (const QByteArray& argument : arguments)
            words.append(QString::fromUtf8(argument));
        program.start(QStringLiteral("setxkbmap"), words);
        ASSERT_TRUE(program.waitForFinished());
        ASSERT_EQ(program.exitCode(), 0) << program.readAllStandardError().toStdString();
    }
};

TEST_F(HotkeySheetDesk, ShiftThatAlsoChangesTheLayoutIsNoPress)
{
    const KeyboardMap map({"-layout", "us,ru", "-option", "grp:alt_shift_toggle"});
    for (const char* order : {"Alt first", "Shift first"}) {
        const bool isAltFirst = std::string_view(order) == "Alt first";
        input_.hold({isAltFirst ? "Alt_L" : "Shift_L", isAltFirst ? "Shift_L" : "Alt_L"});
        input_.letGo({isAltFirst ? "Alt_L" : "Shift_L", isAltFirst ? "Shift_L" : "Alt_L"});
    }
    // What comes after both; the layout is the first one again.
    input_.chord({"Control_L", "j"});
    EXPECT_TRUE(awaitText("Saved: J with \u2303"));
    EXPECT_EQ(beeps_, 0);
    EXPECT_TRUE(awaitCondition([this] { return restarts_ > 0; }));
    EXPECT_EQ(restarts_, 1);
}

TEST_F(HotkeySheetDesk, KeysThatTheLayoutMakesModifiersAreNoPresses)
{
    const KeyboardMap map({"-layout", "de", "-variant", "neo"});
    input_.press("Control_L");
    for (const uint8_t key : {uint8_t{66}, uint8_t{94}, uint8_t{108}}) {
        // Where other keyboards have Caps Lock, the key beside the left Shift, and the right Alt.
        input_.post(XCB_KEY_PRESS, key);
        input_.post(XCB_KEY_RELEASE, key);
    }
    input_.release("Control_L");
    input_.chord({"Control_L", "n"});
    EXPECT_TRUE(awaitText("Saved: N with \u2303"));
    EXPECT_EQ(beeps_, 0);
    EXPECT_TRUE(awaitCondition([this] { return restarts_ > 0; }));
    EXPECT_EQ(restarts_, 1);
}

TEST_F(HotkeySheetDesk, AltGrIsNoModifierOfAHotkey)
{
    const KeyboardMap map({"-layout", "de"});
    input_.chord({"ISO_Level3_Shift", "q"});
    input_.chord({"ISO_Level3_Shift", "Control_L", "q"});
    EXPECT_TRUE(awaitText("Saved: Q with \u2303"));
    EXPECT_EQ(settings_->hotkeyModifiers.value(), 0x40000);
}

TEST_F(HotkeySheetDesk, DeadKeysHaveNoName)
{
    const KeyboardMap map({"-layout", "de"});
    input_.chord({"Control_L", "dead_circumflex"});
    EXPECT_TRUE(awaitText("Saved: ? with \u2303"));
    EXPECT_EQ(settings_->hotkeyKeyCode.value(), 50);
    input_.chord({"Control_L", "z"});
    EXPECT_TRUE(awaitText("Saved: Z with \u2303"));
    EXPECT_EQ(settings_->hotkeyKeyCode.value(), 16) << "the place is that of another layout's Y";
}

TEST_F(HotkeySheetDesk, NamesKeysByTheLayoutInForce)
{
    const KeyboardMap map({"-layout", "us,ru,gr", "-option", "grp:caps_toggle"});
    const uint8_t key = input_.keyCode("k");
    const auto pressKey = [&] {
        input_.press("Control_L");
        input_.post(XCB_KEY_PRESS, key);
        input_.post(XCB_KEY_RELEASE, key);
        input_.release("Control_L");
    };
    constexpr uint8_t kCapsLock = 66;
    for (const char* expected :
         {"Saved: K with \u2303", "Saved: \u041b with \u2303", "Saved: \u039a with \u2303"}) {
        pressKey();
        EXPECT_TRUE(awaitText(expected)) << text();
        EXPECT_EQ(settings_->hotkeyKeyCode.value(), 40);
        input_.post(XCB_KEY_PRESS, kCapsLock);
        input_.post(XCB_KEY_RELEASE, kCapsLock);
    }
    EXPECT_EQ(beeps_, 0);
}

TEST_F(HotkeySheetDesk, AKeyThatIsHeldIsOnePress)
{
    // The server's word about a held key in pieces, as a busy program reads it.
    const auto connection = X11Connection::open();
    const auto tell = [&](uint8_t type) {
        constexpr uint32_t kMoment = 123456;
        xcb_key_press_event_t event{};
        event.response_type = type;
        event.detail = input_.keyCode("k");
        event.time = kMoment;
        event.root = connection->root();
        event.event = static_cast<xcb_window_t>(sheet_.window()->winId());
        event.state = XCB_MOD_MASK_CONTROL;
        event.same_screen = 1;
        xcb_send_event(connection->get(), 0, event.event,
                       type == XCB_KEY_PRESS ? XCB_EVENT_MASK_KEY_PRESS : XCB_EVENT_MASK_KEY_RELEASE,
                       reinterpret_cast<const char*>(&event));
        connection->sync();
        constexpr auto kRead = std::chrono::milliseconds(50);
        static_cast<void>(awaitCondition([] { return false; }, kRead));
    };
    input_.hold({"Control_L", "k"});
    ASSERT_TRUE(awaitText("Saved: K with \u2303"));
    tell(XCB_KEY_RELEASE);
    tell(XCB_KEY_PRESS);
    ASSERT_TRUE(sheet_.window()->isVisible()) << "too slow to tell anything";
    input_.letGo({"Control_L", "k"});
    // Each press that counts comes into force at its own time, and all of them before this.
    bool isOver = false;
    QTimer::singleShot(std::chrono::milliseconds(800), Qt::PreciseTimer, [&] { isOver = true; });
    ASSERT_TRUE(awaitCondition([&] { return isOver; }));
    EXPECT_EQ(restarts_, 1);
}

TEST_F(HotkeySheetDesk, AKeyThatSettingsCannotNameIsRefused)
{
    input_.chord({"Control_L", "Print"});
    EXPECT_TRUE(awaitText("This key cannot be used."));
    EXPECT_EQ(beeps_, 1);
}

TEST(X11KeyReader, KnowsPlacesAndTheCharactersOnThem)
{
    InputDriver input;
    X11KeyReader keys;
    const auto read = [&](const char* key, quint32 state) {
        return keys.read({input.keyCode(key), 0, state});
    };
    constexpr quint32 kShiftMask = 1;
    constexpr quint32 kLockMask = 2;
    constexpr quint32 kControlMask = 4;
    EXPECT_EQ(read("k", 0).keyCode, 40);
    EXPECT_EQ(read("k", 0).characters, QStringLiteral("k"));
    EXPECT_EQ(read("k", kShiftMask | kControlMask).characters, QStringLiteral("K"));
    EXPECT_EQ(read("k", kLockMask).modifiers, 0U);
    EXPECT_EQ(read("k", kShiftMask | kControlMask).modifiers, 0x60000U);
    EXPECT_EQ(read("Return", kControlMask).characters, QString());
    EXPECT_EQ(read("KP_End", kControlMask).characters, QStringLiteral("1"));
    EXPECT_EQ(read("Control_L", 0).keyCode, 59);
    EXPECT_TRUE(read("Control_L", 0).isModifier);
    EXPECT_FALSE(read("k", kControlMask).isModifier);
    EXPECT_EQ(keys.read({4000, 0, 0}).keyCode, -1);
}

TEST(X11KeyReader, KnowsAllFourGroupsOfALayout)
{
    const KeyboardMap map({"-layout", "us,ru,gr,de"});
    InputDriver input;
    X11KeyReader keys;
    QStringList characters;
    for (quint32 group = 0; group < 4; ++group)
        characters.append(keys.read({input.keyCode("semicolon"), 0, group << 13}).characters);
    EXPECT_EQ(characters, (QStringList{QStringLiteral(";"), QStringLiteral("\u0436"), QString(),
                                       QStringLiteral("\u00f6")}));
}

TEST(X11KeyReader, KnowsModifiersByWhatTheyMean)
{
    X11KeyReader keys;
    constexpr quint32 kPlace = 45;
    for (const quint32 symbol :
         {XKB_KEY_Shift_L, XKB_KEY_Hyper_R, XKB_KEY_ISO_Level3_Shift, XKB_KEY_ISO_Next_Group,
          XKB_KEY_ISO_Level5_Shift, XKB_KEY_Mode_switch, XKB_KEY_Num_Lock})
        EXPECT_TRUE(keys.read({kPlace, symbol, 0}).isModifier) << symbol;
    for (const quint32 symbol : {XKB_KEY_Delete, XKB_KEY_ISO_Left_Tab, XKB_KEY_dead_grave, XKB_KEY_k})
        EXPECT_FALSE(keys.read({kPlace, symbol, 0}).isModifier) << symbol;
}

} // namespace
} // namespace velmo::test
