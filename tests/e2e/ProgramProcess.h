#pragma once

#include "e2e/GestureDesk.h"
#include "support/app/FirstRun.h"
#include "support/tray/EmbeddingTray.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

namespace velmo::test {

/// The program as a process of its own, which can be killed, beside an application and a bar. Its console
/// goes into a file.
class ProgramProcess : public GestureDesk {
protected:
    void SetUp() override
    {
        GestureDesk::SetUp();
        completeFirstRun();
    }

    void TearDown() override
    {
        if (process_.state() != QProcess::NotRunning) {
            process_.terminate();
            process_.waitForFinished();
        }
        GestureDesk::TearDown();
    }

    void launch(const QStringList& arguments = {})
    {
        process_.setProcessEnvironment(environment_);
        process_.setStandardOutputFile(console_);
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process_.start(QStringLiteral(VELMO_EXECUTABLE), arguments);
        ASSERT_TRUE(process_.waitForStarted());
    }

    void launchAndAwait(const QStringList& arguments = {})
    {
        launch(arguments);
        ASSERT_TRUE(awaitLine("[Platform] ready"));
    }

    [[nodiscard]] QByteArray console() const
    {
        QFile file(console_);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    [[nodiscard]] bool awaitLine(const char* text, qsizetype times = 1) const
    {
        return awaitCondition([&] { return console().count(text) >= times; });
    }

    /// Keys and both buttons reach the application, and each just once.
    void expectDesktopWorks()
    {
        client_->forgetEvents();
        input_.tap("a");
        input_.click(kLeft);
        input_.click(kMiddle);
        EXPECT_TRUE(awaitCondition([this] { return clientReleases(kMiddle) == 1; }));
        EXPECT_EQ(clientKeys("a"), 1);
        EXPECT_EQ(clientPresses(kLeft), 1);
        EXPECT_EQ(clientPresses(kMiddle), 1);
        EXPECT_TRUE(client_->hasFocus());
    }

    /// A key, and what follows only once the program has seen it.
    void typeAndAwaitTheProgram()
    {
        input_.tap("v");
        const auto matches = console().count("hotkey matched");
        input_.chord({"Control_L", "Alt_L", "space"});
        ASSERT_TRUE(awaitLine("[HotkeyMonitor] hotkey matched — consuming event", matches + 1));
        ASSERT_TRUE(awaitLine("[Session] Begin annotation session"));
        // The overlay takes the keyboard a moment after that line.
        ASSERT_TRUE(awaitCondition([this] {
            input_.tap("Escape");
            return console().contains("[Session] Session cancelled");
        }));
    }

    EmbeddingTray tray_; ///< Without one a start would open the settings.
    QTemporaryDir folder_;
    QString console_ = folder_.filePath(QStringLiteral("console"));
    QProcessEnvironment environment_ = QProcessEnvironment::systemEnvironment();
    QProcess process_;
};

} // namespace velmo::test
