#include "fakes/FakeKeychain.h"
#include "fakes/FakeWindowSurfaces.h"
#include "fakes/InMemoryDefaults.h"
#include "input/HotkeyCaptureSheet.h"
#include "input/StatusMenu.h"
#include "platform/x11/X11KeyReader.h"
#include "support/x11/Await.h"
#include "support/x11/InputDriver.h"
#include "support/x11/PlainClient.h"
#include "support/x11/VirtualDisplay.h"

#include <QLabel>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
    HotkeyCaptureSheet sheet_{settings_, {keys_, [this] { ++restarts_; }, [this] { ++beeps_; }}};
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

TEST_F(HotkeySheetDesk, TheMenusKeysAreLabelsAlone)
{
    int quits = 0;
    const FakeWindowSurfaces windows;
    StatusMenu menu(windows, {{}, {}, [&] { ++quits; }, {}, [&] { ++quits; }});
    input_.chord({"Control_L", "q"});
    EXPECT_TRUE(awaitText("Saved: Q with \u2303"));
    input_.chord({"Control_L", "comma"});
    EXPECT_TRUE(awaitText("Saved: , with \u2303"));
    EXPECT_EQ(quits, 0);
}

TEST(X11KeyReader, KnowsPlacesAndTheCharactersOnThem)
{
    InputDriver input;
    X11KeyReader keys;
    const auto read = [&](const char* key, quint32 state) { return keys.read(input.keyCode(key), state); };
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
    EXPECT_EQ(keys.read(4000, 0).keyCode, -1);
}

} // namespace
} // namespace velmo::test
