#include "e2e/Desk.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11ReadablePixmap.h"
#include "platform/x11/XcbSupport.h"
#include "support/keyring/PrivateKeyring.h"
#include "support/practice/PracticeServer.h"
#include "support/sound/SoundServer.h"
#include "support/x11/ActiveWindow.h"
#include "support/x11/Await.h"
#include "support/x11/InputDriver.h"
#include "support/x11/VirtualDisplay.h"

#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmo::test {
namespace {

/// Somebody who has never seen the program, at a desktop with a keyring and without a tray.
class FirstRun : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(display().startWindowManager());
        ASSERT_TRUE(keyring_.startUnlocked());
        ASSERT_NE(practice_.start(), 0);
        environment_ = keyring_.environment();
        environment_.insert(QStringLiteral("DISPLAY"), qEnvironmentVariable("DISPLAY"));
        environment_.insert(QStringLiteral("XAUTHORITY"), qEnvironmentVariable("XAUTHORITY"));
        environment_.insert(QStringLiteral("ANTHROPIC_BASE_URL"), practice_.baseUrl());
        desk_ = std::make_unique<Desk>();
        ASSERT_TRUE(desk_->awaitReady());
    }
    void TearDown() override
    {
        program_.terminate();
        program_.waitForFinished();
        if (HasFailure()) {
            QFile file(console_);
            if (file.open(QIODevice::ReadOnly))
                std::fputs(file.readAll().constData(), stderr);
        }
        desk_.reset();
        display().stopWindowManager();
    }

    void launch(const QStringList& arguments = {})
    {
        program_.setProcessEnvironment(environment_);
        program_.setStandardOutputFile(console_, QIODevice::Append);
        program_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        program_.start(QStringLiteral(VELMO_EXECUTABLE), arguments);
        ASSERT_TRUE(program_.waitForStarted());
    }

    /// One more start, which has the running one do something.
    int run(const QStringList& arguments) const
    {
        QProcess process;
        process.setProcessEnvironment(environment_);
        process.start(QStringLiteral(VELMO_EXECUTABLE), arguments);
        return process.waitForFinished() ? process.exitCode() : -1;
    }

    [[nodiscard]] bool hasLine(const char* text, qsizetype times = 1) const
    {
        QFile file(console_);
        return file.open(QIODevice::ReadOnly) && file.readAll().count(text) >= times;
    }
    [[nodiscard]] bool awaitLine(const char* text, qsizetype times = 1) const
    {
        return awaitCondition([&] { return hasLine(text, times); });
    }

    [[nodiscard]] xcb_window_t inputFocus() const
    {
        const auto reply = eye_->await(xcb_get_input_focus_reply, xcb_get_input_focus(eye_->get()));
        return reply ? reply->focus : xcb_window_t{XCB_NONE};
    }

    void type(const char* letters)
    {
        for (const char* letter = letters; *letter != '\0'; ++letter)
            input_.tap(std::string(1, *letter).c_str());
    }

    [[nodiscard]] bool hasCompletedFirstRun() const
    {
        QFile file(environment_.value(QStringLiteral("XDG_CONFIG_HOME")) +
                   QStringLiteral("/velmo/settings.json"));
        return file.open(QIODevice::ReadOnly) && QJsonDocument::fromJson(file.readAll())
                                                     .object()
                                                     .value(QStringLiteral("hasCompletedOnboarding"))
                                                     .toBool();
    }

    /// A key that the window answers by looking different, for good.
    void tapAndAwaitAnotherLook(const char* key)
    {
        const QImage before = look();
        input_.tap(key);
        ASSERT_TRUE(awaitCondition([&] { return look() != before; })) << key;
        QImage now = look();
        QElapsedTimer rest;
        rest.start();
        ASSERT_TRUE(awaitCondition([&] {
            const QImage next = look();
            if (next != now)
                rest.restart();
            now = next;
            return rest.elapsed() > 150;
        }));
    }
    /// Where dialogs open.
    [[nodiscard]] QImage look() const { return readRootImage(*eye_, QRect(700, 350, 520, 400)); }

    /// Welcome, the microphone that this computer does not have, and the end.
    void goThroughTheFirstRun()
    {
        ASSERT_TRUE(awaitActive(*eye_, "Velmo"));
        ASSERT_TRUE(awaitCondition([this] { return inputFocus() == activeWindow(*eye_); }));
        ASSERT_NO_FATAL_FAILURE(tapAndAwaitAnotherLook("Return"));
        // From the page's own button to "Skip".
        ASSERT_NO_FATAL_FAILURE(tapAndAwaitAnotherLook("Tab"));
        ASSERT_NO_FATAL_FAILURE(tapAndAwaitAnotherLook("space"));
        EXPECT_FALSE(hasCompletedFirstRun());
        input_.tap("Return");
        ASSERT_TRUE(
            awaitCondition([this] { return hasCompletedFirstRun() && activeTitle(*eye_) != "Velmo"; }));
    }

    /// The dots that the active window shows, one for each page.
    [[nodiscard]] int dots() const
    {
        constexpr QSize kWindow(480, 340);
        constexpr int kAboveBottom = 24;
        const auto place =
            eye_->await(xcb_translate_coordinates_reply,
                        xcb_translate_coordinates(eye_->get(), activeWindow(*eye_), eye_->root(), 0, 0));
        if (!place)
            return 0;
        const QImage row = readRootImage(
            *eye_, QRect(place->dst_x, place->dst_y + kWindow.height() - kAboveBottom, kWindow.width(), 1));
        const QRgb ground = row.pixel(0, 0);
        int count = 0;
        for (int x = 1; x < row.width(); ++x)
            count += row.pixel(x, 0) != ground && row.pixel(x - 1, 0) == ground ? 1 : 0;
        return count;
    }

    PrivateKeyring keyring_;
    practice::PracticeServer practice_;
    QTemporaryDir folder_;
    QString console_ = folder_.filePath(QStringLiteral("console"));
    QProcessEnvironment environment_;
    QProcess program_;
    InputDriver input_;
    std::unique_ptr<X11Connection> eye_ = X11Connection::open();
    std::unique_ptr<Desk> desk_;
};

TEST_F(FirstRun, LeadsAStrangerToAnAnswer)
{
    launch();
    ASSERT_NO_FATAL_FAILURE(goThroughTheFirstRun());
    ASSERT_TRUE(awaitLine("[Platform] ready"));

    // Without a tray the settings come next, and a second start would bring them, too. The key goes into the
    // first field.
    ASSERT_TRUE(awaitActive(*eye_, "Velmo Settings"));
    EXPECT_EQ(run({}), 0);
    ASSERT_TRUE(awaitActive(*eye_, "Velmo Settings"));
    ASSERT_TRUE(awaitCondition([this] { return inputFocus() == activeWindow(*eye_); }));
    // The tabs come first.
    input_.tap("Tab");
    input_.tap("Tab");
    type("practicekey");
    input_.tap("Return");
    ASSERT_TRUE(awaitCondition([this] {
        return !keyring_
                    .secretTool({QStringLiteral("lookup"), QStringLiteral("service"),
                                 QStringLiteral("app.velmo.Velmo"), QStringLiteral("account"),
                                 QStringLiteral("apiKey.anthropic")})
                    .output.isEmpty();
    }));
    input_.chord({"Alt_L", "F4"});
    ASSERT_TRUE(awaitActive(*eye_, "Checkout \xe2\x80\x94 Latency"));
    ASSERT_TRUE(awaitCondition([this] { return inputFocus() == activeWindow(*eye_); }));

    // The hotkey, a stroke, a question, an answer.
    const xcb_window_t before = inputFocus();
    input_.chord({"Control_L", "Alt_L", "space"});
    ASSERT_TRUE(awaitLine("[Session] Begin annotation session"));
    const QPoint from = desk_->target().center();
    // Until the overlay is there a stroke is the application's.
    ASSERT_TRUE(awaitCondition([&] {
        input_.moveTo(from.x(), from.y());
        input_.pressButton(1);
        input_.moveTo(from.x() + 80, from.y() + 40);
        input_.releaseButton(1);
        return hasLine("[QueryPanel] panel origin");
    }));
    ASSERT_TRUE(awaitCondition([&] { return inputFocus() != before; }));
    type("why");
    input_.tap("Return");
    ASSERT_TRUE(awaitLine("[Session] Streaming task completed"));
    ASSERT_EQ(practice_.requests().size(), 1);
    EXPECT_EQ(practice_.requests().constFirst().header("x-api-key"), "practicekey");

    input_.tap("Escape");
    ASSERT_TRUE(awaitLine("[Session] Session cancelled"));
    EXPECT_EQ(run({QStringLiteral("quit")}), 0);
    EXPECT_TRUE(awaitCondition([this] { return program_.state() == QProcess::NotRunning; }));
    EXPECT_EQ(program_.exitCode(), 0);
}

TEST_F(FirstRun, HasTwoPagesWhereNothingIsMissing)
{
    SoundServer sound(SoundServer::Kind::PulseAudio);
    ASSERT_TRUE(sound.isReady() && sound.plugMicrophone());
    environment_.insert(QStringLiteral("PULSE_SERVER"), qEnvironmentVariable("PULSE_SERVER"));
    launch({QStringLiteral("--background")});
    ASSERT_TRUE(awaitActive(*eye_, "Velmo"));
    // The first that can be seen of them.
    ASSERT_TRUE(awaitCondition([this] { return dots() > 0; }));
    EXPECT_EQ(dots(), 2);
    ASSERT_TRUE(awaitCondition([this] { return inputFocus() == activeWindow(*eye_); }));
    ASSERT_NO_FATAL_FAILURE(tapAndAwaitAnotherLook("Return"));
    EXPECT_FALSE(hasCompletedFirstRun());
    input_.tap("Return");
    EXPECT_TRUE(awaitCondition([this] { return hasCompletedFirstRun(); }));
    EXPECT_EQ(run({QStringLiteral("quit")}), 0);
    ASSERT_TRUE(awaitCondition([this] { return program_.state() == QProcess::NotRunning; }));
}

TEST_F(FirstRun, IsNotRepeated)
{
    launch({QStringLiteral("--background")});
    ASSERT_NO_FATAL_FAILURE(goThroughTheFirstRun());
    EXPECT_EQ(run({QStringLiteral("quit")}), 0);
    ASSERT_TRUE(awaitCondition([this] { return program_.state() == QProcess::NotRunning; }));

    // Without a tray a plain start shows the settings, and no welcome.
    launch();
    ASSERT_TRUE(awaitLine("[Platform] ready", 2));
    EXPECT_TRUE(awaitActive(*eye_, "Velmo Settings"));
}

TEST_F(FirstRun, ThatWasNotFinishedBeginsAnew)
{
    launch({QStringLiteral("--background")});
    ASSERT_TRUE(awaitActive(*eye_, "Velmo"));
    EXPECT_EQ(run({QStringLiteral("quit")}), 0);
    ASSERT_TRUE(awaitCondition([this] { return program_.state() == QProcess::NotRunning; }));
    launch({QStringLiteral("--background")});
    EXPECT_TRUE(awaitActive(*eye_, "Velmo"));
}

} // namespace
} // namespace velmo::test
