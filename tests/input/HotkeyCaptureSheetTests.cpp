#include "input/HotkeyCaptureSheet.h"

#include "fakes/FakeKeyReader.h"
#include "fakes/FakeKeychain.h"
#include "fakes/FakeWindowSurfaces.h"
#include "fakes/InMemoryDefaults.h"
#include "platform/EventTap.h"
#include "support/core/EventLoop.h"
#include "support/widgets/Palettes.h"
#include "widgets/ModifierSymbols.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QScreen>
#include <QWindow>
#include <gmock/gmock.h>

namespace velmo {
namespace {

constexpr quint64 kControl = ModifierFlag::Control;
constexpr quint64 kOption = ModifierFlag::Option;
constexpr quint64 kShift = ModifierFlag::Shift;
constexpr quint64 kCommand = ModifierFlag::Command;

class HotkeyCaptureSheetTest : public testing::Test {
protected:
    void SetUp() override
    {
        sheet.present();
        window().installEventFilter(&witness);
    }

    [[nodiscard]] QWidget& window() const { return *sheet.window(); }
    [[nodiscard]] std::string text() const { return window().findChild<QLabel*>()->text().toStdString(); }

    /// True when it was swallowed.
    bool press(const PressedKey& key, int qtKey = Qt::Key_K, bool isRepeat = false)
    {
        keys.key = key;
        seen.clear();
        QKeyEvent event(QEvent::KeyPress, qtKey, Qt::NoModifier, 45, 0, 0x41, {}, isRepeat);
        QCoreApplication::sendEvent(window().windowHandle(), &event);
        return seen.isEmpty();
    }

    [[nodiscard]] std::pair<qint64, qint64> stored() const
    {
        return {settings->hotkeyKeyCode.value(), settings->hotkeyModifiers.value()};
    }

    /// Notes what the window's widgets get.
    class Witness final : public QObject {
    public:
        explicit Witness(QList<int>& seen)
            : seen_(seen)
        {}

    protected:
        bool eventFilter(QObject*, QEvent* event) override
        {
            if (event->type() == QEvent::KeyPress)
                seen_.append(static_cast<QKeyEvent*>(event)->key());
            return false;
        }

    private:
        QList<int>& seen_;
    };

    std::shared_ptr<InMemoryDefaults> defaults = std::make_shared<InMemoryDefaults>();
    std::shared_ptr<SettingsManager> settings =
        std::make_shared<SettingsManager>(defaults, std::make_shared<FakeKeychain>());
    FakeKeyReader keys;
    int restarts = 0;
    int beeps = 0;
    QList<int> seen;
    FakeWindowSurfaces windows;
    HotkeyCaptureSheet sheet{settings, {keys, windows, [this] { ++restarts; }, [this] { ++beeps; }}};
    Witness witness{seen};
};

const std::pair<qint64, qint64> kDefault{49, 0xC0000};

TEST_F(HotkeyCaptureSheetTest, AsksInATitledWindowOfItsSize)
{
    EXPECT_EQ(window().windowTitle(), QStringLiteral("Change Hotkey"));
    EXPECT_EQ(window().size(), QSize(320, 100));
    EXPECT_EQ(text(), "Press your desired key combination...");
    const QLabel& label = *window().findChild<QLabel*>();
    EXPECT_EQ(label.geometry(), QRect(24, 24, 272, 52));
    EXPECT_EQ(label.font().pixelSize(), 14);
    EXPECT_EQ(label.alignment(), Qt::AlignCenter);
    EXPECT_TRUE(window().windowFlags().testFlag(Qt::WindowCloseButtonHint));
    const QPoint off = window().frameGeometry().center() - window().screen()->availableGeometry().center();
    EXPECT_LE(std::max(std::abs(off.x()), std::abs(off.y())), 4);
    EXPECT_TRUE(window().isVisible());
}

TEST_F(HotkeyCaptureSheetTest, StoresACombinationAndSaysSo)
{
    EXPECT_TRUE(press({40, kShift | kCommand, QStringLiteral("K")}));
    EXPECT_EQ(stored(), std::pair(qint64{40}, qint64{0x120000}));
    EXPECT_EQ(text(), "Saved: K with \u21e7\u2318");
    EXPECT_EQ(beeps, 0);
    ASSERT_EQ(keys.asked.size(), 1);
    EXPECT_EQ(keys.asked.constFirst(), std::pair(45U, 0x41U));
}

TEST_F(HotkeyCaptureSheetTest, NamesWhatWasPressedByTheseRules)
{
    struct Case {
        PressedKey key;
        std::string text;
    };
    const std::vector<Case> cases{
        {{49, kControl | kOption, QStringLiteral(" ")}, "Saved:   with \u2303\u2325"},
        {{18, kShift | kCommand, QStringLiteral("!")}, "Saved: ! with \u21e7\u2318"},
        {{0, kCommand, QStringLiteral("a")}, "Saved: A with \u2318"},
        {{41, kControl, QStringLiteral("\u00f6")}, "Saved: \u00d6 with \u2303"},
        {{27, kControl, QStringLiteral("\u00df")}, "Saved: SS with \u2303"},
        {{33, kOption, {}}, "Saved: ? with \u2325"},
        {{43, kControl, QStringLiteral("<")}, "Saved: < with \u2303"},
        {{40, kControl | kOption | kShift | kCommand, QStringLiteral("K")},
         "Saved: K with \u2303\u2325\u21e7\u2318"},
    };
    for (const Case& one : cases) {
        EXPECT_TRUE(press(one.key));
        EXPECT_EQ(text(), one.text);
        EXPECT_EQ(stored(), std::pair(qint64{one.key.keyCode}, static_cast<qint64>(one.key.modifiers)));
    }
}

TEST_F(HotkeyCaptureSheetTest, PlainKeysPassAndAreNotRecorded)
{
    for (const int key : {Qt::Key_K, Qt::Key_Escape, Qt::Key_Return}) {
        EXPECT_FALSE(press({40, 0, QStringLiteral("k")}, key));
        EXPECT_EQ(seen, QList<int>{key});
    }
    // Without modifiers even the places of the modifier keys are plain keys.
    EXPECT_FALSE(press({57, 0, {}}, Qt::Key_Escape));
    EXPECT_EQ(stored(), kDefault);
    EXPECT_EQ(text(), "Press your desired key combination...");
    EXPECT_EQ(beeps, 0);
    EXPECT_TRUE(window().isVisible());
}

TEST_F(HotkeyCaptureSheetTest, BuildingACombinationIsNoPress)
{
    // The toolkit does not know all of them: one that changes the layout as well is no key to it.
    for (const int key : {static_cast<int>(Qt::Key_Shift), static_cast<int>(Qt::Key_AltGr), 0}) {
        EXPECT_FALSE(press({56, kControl, {}, true}, key));
        EXPECT_FALSE(press({10, kShift, QStringLiteral("<"), true}, key));
        EXPECT_FALSE(press({56, 0, {}, true}, key));
        EXPECT_EQ(seen, QList<int>{key});
    }
    EXPECT_EQ(stored(), kDefault);
    EXPECT_EQ(beeps, 0);
    EXPECT_EQ(text(), "Press your desired key combination...");
}

TEST_F(HotkeyCaptureSheetTest, TheModifiersPlacesAreRefusedWithABeep)
{
    int expected = 0;
    for (int code = 54; code <= 63; ++code) {
        // As with a Caps Lock key that the layout has made an Escape.
        EXPECT_TRUE(press({code, kControl, {}}, Qt::Key_Escape)) << code;
        EXPECT_EQ(beeps, ++expected) << code;
        EXPECT_EQ(text(), "Choose a non-modifier key with modifiers.");
    }
    EXPECT_EQ(stored(), kDefault);
    for (const int code : {53, 64}) {
        EXPECT_TRUE(press({code, kControl, {}}, Qt::Key_Escape));
        EXPECT_EQ(stored().first, code);
    }
    EXPECT_EQ(beeps, expected);
}

TEST_F(HotkeyCaptureSheetTest, AKeyWithoutANumberIsRefused)
{
    EXPECT_TRUE(press({-1, kControl, {}}));
    EXPECT_EQ(beeps, 1);
    EXPECT_EQ(text(), "This key cannot be used.");
    EXPECT_EQ(stored(), kDefault);
}

TEST_F(HotkeyCaptureSheetTest, AHeldKeyIsOnePress)
{
    EXPECT_TRUE(press({40, kControl, QStringLiteral("k")}));
    EXPECT_TRUE(press({38, kControl, QStringLiteral("j")}, Qt::Key_J, true));
    EXPECT_EQ(stored().first, 40);
}

TEST_F(HotkeyCaptureSheetTest, ClosesAndRestartsTheMonitorALittleLater)
{
    QElapsedTimer timer;
    timer.start();
    press({40, kControl, QStringLiteral("k")});
    EXPECT_TRUE(window().isVisible());
    EXPECT_EQ(restarts, 0);
    ASSERT_TRUE(turnUntil([this] { return restarts == 1; }));
    EXPECT_GE(timer.elapsed(), 800);
    EXPECT_FALSE(window().isVisible());
    press({38, kControl, QStringLiteral("j")});
    EXPECT_EQ(stored().first, 40);
}

TEST_F(HotkeyCaptureSheetTest, AnotherPressMeanwhileCountsAndComesIntoForceToo)
{
    press({40, kControl, QStringLiteral("k")});
    press({38, kOption, QStringLiteral("j")});
    EXPECT_EQ(text(), "Saved: J with \u2325");
    ASSERT_TRUE(turnUntil([this] { return restarts == 2; }));
    EXPECT_EQ(stored(), std::pair(qint64{38}, qint64{0x80000}));
    EXPECT_FALSE(window().isVisible());
}

TEST_F(HotkeyCaptureSheetTest, ClosingTheWindowEndsTheRecording)
{
    window().close();
    press({40, kControl, QStringLiteral("k")});
    EXPECT_EQ(stored(), kDefault);
    EXPECT_TRUE(keys.asked.isEmpty());
}

TEST_F(HotkeyCaptureSheetTest, WhatWasStoredComesIntoForceAlsoWhenTheUserClosesTheWindow)
{
    press({40, kControl, QStringLiteral("k")});
    window().close();
    EXPECT_TRUE(turnUntil([this] { return restarts == 1; }));
}

TEST_F(HotkeyCaptureSheetTest, SeesTheKeysOfTheProgramsOtherWindows)
{
    QWidget other;
    other.show();
    keys.key = {40, kControl, QStringLiteral("k")};
    QKeyEvent event(QEvent::KeyPress, Qt::Key_K, Qt::ControlModifier);
    QCoreApplication::sendEvent(other.windowHandle(), &event);
    EXPECT_EQ(stored().first, 40);
}

TEST_F(HotkeyCaptureSheetTest, LeavesKeysToTheWindowsWherePeopleTypeAndDraw)
{
    keys.key = {13, kShift, QStringLiteral("W")};
    for (const Qt::WindowFlags flags :
         {Qt::Window | Qt::BypassWindowManagerHint, Qt::WindowFlags(Qt::Popup)}) {
        QWidget floating(nullptr, flags);
        floating.show();
        floating.installEventFilter(&witness);
        seen.clear();
        QKeyEvent event(QEvent::KeyPress, Qt::Key_W, Qt::ShiftModifier, 25, 'W', 1, QStringLiteral("W"));
        QCoreApplication::sendEvent(floating.windowHandle(), &event);
        EXPECT_EQ(seen, QList<int>{Qt::Key_W});
    }
    EXPECT_EQ(stored(), kDefault);
    EXPECT_EQ(text(), "Press your desired key combination...");
    EXPECT_TRUE(press(keys.key));
    EXPECT_EQ(stored().first, 13);
}

/// Says of every press that it only goes on, as whoever sorts the presses of a held key may.
class Sorter final : public QObject {
protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() != QEvent::KeyPress || !watched->isWindowType())
            return false;
        const auto& press = static_cast<QKeyEvent&>(*event);
        if (press.isAutoRepeat())
            return false;
        QKeyEvent repeat(QEvent::KeyPress, press.key(), press.modifiers(), press.nativeScanCode(),
                         press.nativeVirtualKey(), press.nativeModifiers(), press.text(), true);
        QCoreApplication::sendEvent(watched, &repeat);
        return true;
    }
};

TEST_F(HotkeyCaptureSheetTest, HearsOfPressesFromWhoeverSortsThem)
{
    // One that was there before the sheet: of the application's filters, the toolkit asks the latest first.
    window().close();
    Sorter sorter;
    QCoreApplication::instance()->installEventFilter(&sorter);
    sheet.present();
    EXPECT_TRUE(press({40, kControl, QStringLiteral("k")}));
    EXPECT_EQ(stored(), kDefault);
    EXPECT_EQ(keys.asked.size(), 1);
}

TEST_F(HotkeyCaptureSheetTest, IsAboveTheProgramsFloatingWindowsWhileItIsOpen)
{
    EXPECT_EQ(windows.activated, QList<const QWidget*>{&window()});
    EXPECT_EQ(windows.unlisted, QList<const QWidget*>{&window()});
    EXPECT_TRUE(turnUntil([this] { return windows.onTop == &window(); }));
    window().close();
    EXPECT_EQ(windows.onTop, nullptr);
}

TEST_F(HotkeyCaptureSheetTest, FollowsTheDesktopsScheme)
{
    const auto ground = [this] { return window().grab().toImage().pixelColor(4, 4); };
    const ApplicationPalette light(lightPalette());
    EXPECT_TRUE(turnUntil([&] { return ground() == QColor(0xf6f6f8); }));
    const ApplicationPalette dark(darkPalette());
    EXPECT_TRUE(turnUntil([&] { return ground() == QColor(0x232328); }));
    EXPECT_EQ(window().findChild<QLabel*>()->palette().color(QPalette::WindowText), QColor(0xf2f2f5));
}

TEST(ModifierSymbols, HaveAFixedOrderAndNothingBetweenThem)
{
    EXPECT_EQ(modifierSymbols(0), QString());
    EXPECT_EQ(modifierSymbols(kCommand | kShift | kOption | kControl),
              QStringLiteral("\u2303\u2325\u21e7\u2318"));
    EXPECT_EQ(modifierSymbols(kShift | ModifierFlag::Function), QStringLiteral("\u21e7"));
}

} // namespace
} // namespace velmo
