#include "platform/x11/X11EventTap.h"
#include "support/app/DoctorTest.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace velmo::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

void hold(X11EventTap& tap, const TapInterest& interest)
{
    const auto isStarted = std::make_shared<std::atomic<bool>>(false);
    tap.start(
        interest, [](TapEventType, const TapEvent&) { return TapVerdict::Pass; },
        [isStarted](const EventTap::StartReport& report) { *isStarted = report.started; });
    ASSERT_TRUE(awaitCondition([&] { return isStarted->load(); }));
}

TEST_F(DoctorProcess, WithoutADisplayItSaysSo)
{
    environment_.remove(QStringLiteral("DISPLAY"));
    examine();
    EXPECT_FALSE(works());
    EXPECT_EQ(stateOf("Session"), "broken");
    EXPECT_EQ(textOf("Gestures"), "not looked at: there is no X server");
    EXPECT_EQ(stateOf("Keys"), "fine") << "the rest is told all the same";
}

TEST_F(DoctorProcess, ADisplayThatIsNotThereIsNamed)
{
    environment_.insert(QStringLiteral("DISPLAY"), QStringLiteral(":9876"));
    examine();
    EXPECT_FALSE(works());
    EXPECT_EQ(textOf("Display"), ":9876 cannot be reached");
}

TEST_F(DoctorProcess, ADisplayThatNeverAnswersHoldsNothingUp)
{
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int number = 700;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const auto takeNext = [&] {
        const std::string path = "/tmp/.X11-unix/X" + std::to_string(++number);
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        return bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    };
    ASSERT_TRUE(awaitCondition(takeNext));
    ASSERT_EQ(listen(listener, 5), 0);
    const QString name = u':' + QString::number(number);
    environment_.insert(QStringLiteral("DISPLAY"), name);
    examine();
    EXPECT_FALSE(works());
    EXPECT_EQ(textOf("Display"), name.toStdString() + " does not answer in time");
    EXPECT_LT(duration_, kLongest);
    close(listener);
    unlink(address.sun_path);
}

TEST_F(DoctorProcess, AServerThatCannotTellWindowsApartIsALimit)
{
    VirtualDisplay::Options poor;
    poor.screen = "800x600x24";
    poor.arguments = {"-extension", "Composite"};
    const VirtualDisplay other(poor);
    ASSERT_FALSE(other.name().isEmpty());
    environment_.insert(QStringLiteral("DISPLAY"), QString::fromLatin1(other.name()));
    examine();
    EXPECT_TRUE(works()) << "questions get the screen from before the drawing";
    EXPECT_EQ(stateOf("Capture"), "limited");
    EXPECT_THAT(textOf("Capture"), HasSubstr("Composite"));
    EXPECT_EQ(detailsOf("Capture")[QStringLiteral("method")].toString(), QStringLiteral("screen"));
}

TEST_F(DoctorProcess, AToolkitThatHangsHoldsNothingUp)
{
    // It reads this file as soon as it starts, and nobody writes into it.
    const QByteArray pipe = folder_.filePath(QStringLiteral("pipe")).toLocal8Bit();
    ASSERT_EQ(mkfifo(pipe.constData(), S_IRUSR | S_IWUSR), 0);
    environment_.insert(QStringLiteral("QT_LOGGING_CONF"), QString::fromLocal8Bit(pipe));
    examine();
    EXPECT_FALSE(works());
    EXPECT_THAT(textOf("Display"), HasSubstr(" does not answer in time"));
    EXPECT_EQ(textOf("Windows"), "Openbox") << "what was seen is told all the same";
    EXPECT_EQ(stateOf("Capture"), "fine");
    EXPECT_LT(duration_, kLongest);
}

TEST_F(DoctorProcess, AHotkeyThatAnotherProgramHoldsIsNamed)
{
    X11EventTap other;
    hold(other, {});
    examine();
    EXPECT_TRUE(works()) << "there are other ways to begin";
    ASSERT_EQ(findings("Gestures").size(), 1U);
    EXPECT_EQ(stateOf("Gestures"), "limited");
    EXPECT_EQ(textOf("Gestures"), "Ctrl+Alt+Space is held by another program.");
    EXPECT_EQ(detailsOf("Gestures")[QStringLiteral("combination")].toString(),
              QStringLiteral("Ctrl+Alt+Space"));
    EXPECT_EQ(detailsOf("Gestures")[QStringLiteral("refused")][0].toString().toStdString(),
              textOf("Gestures"));
    EXPECT_THAT(valueOf("Gestures", "advice"), HasSubstr("another hotkey"));
    other.stop();
}

TEST_F(DoctorProcess, WhatTheRunningOneWasRefusedIsNamed)
{
    X11EventTap other;
    hold(other, {.hotkeyKeyCode = 0, .middleButton = true});
    launchProgram();
    examine();
    EXPECT_TRUE(works());
    ASSERT_EQ(findings("Gestures").size(), 1U);
    EXPECT_EQ(stateOf("Gestures"), "limited");
    EXPECT_EQ(textOf("Gestures"), "Middle button is held by another program.");
    EXPECT_THAT(valueOf("Gestures", "advice"), HasSubstr("switch the middle button off"));
    other.stop();
}

TEST_F(DoctorProcess, ItLeavesTheGesturesFree)
{
    ASSERT_EQ(run().exitCode, 0);
    X11EventTap next;
    std::optional<EventTap::StartReport> report;
    std::mutex mutex;
    next.start(
        {.quickDrawModifiers = ModifierFlag::Option | ModifierFlag::Command, .middleButton = true},
        [](TapEventType, const TapEvent&) { return TapVerdict::Pass; },
        [&](const EventTap::StartReport& told) {
            const std::lock_guard lock(mutex);
            report = told;
        });
    ASSERT_TRUE(awaitCondition([&] {
        const std::lock_guard lock(mutex);
        return report.has_value();
    }));
    EXPECT_THAT(report->problems, IsEmpty());
    next.stop();
}

} // namespace
} // namespace velmo::test
