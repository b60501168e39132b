#include "support/app/FirstRun.h"
#include "support/x11/ActiveWindow.h"
#include "support/x11/VirtualDisplay.h"
#include "support/x11/WaylandMonitor.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace velmo::test {
namespace {

/// The program where a display does not allow what it needs, on a desktop without a tray.
class ForbiddingDisplay : public testing::Test {
protected:
    /// Both last until the test is over.
    void startDisplay(const QList<QByteArray>& arguments)
    {
        VirtualDisplay::Options options;
        options.arguments = arguments;
        display_ = std::make_unique<VirtualDisplay>(options);
        ASSERT_TRUE(display_->startWindowManager());
        eye_ = X11Connection::open();
        ASSERT_TRUE(eye_);
    }

    void launch()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), folder_.path());
        program_.setProcessEnvironment(environment);
        program_.setStandardOutputFile(console_);
        program_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        program_.start(QStringLiteral(VELMO_EXECUTABLE), {});
        ASSERT_TRUE(program_.waitForStarted());
    }
    void TearDown() override
    {
        program_.terminate();
        EXPECT_TRUE(program_.waitForFinished());
        EXPECT_EQ(program_.exitCode(), 0);
    }

    [[nodiscard]] QByteArray console() const
    {
        QFile file(console_);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    [[nodiscard]] bool awaitLine(const char* text) const
    {
        return awaitCondition([&] { return console().contains(text); });
    }

    QTemporaryDir folder_;
    QString console_ = folder_.filePath(QStringLiteral("console"));
    std::unique_ptr<VirtualDisplay> display_;
    std::unique_ptr<X11Connection> eye_;
    QProcess program_;
};

TEST_F(ForbiddingDisplay, WithoutInputItShowsTheSettingsInsteadOfBeingReady)
{
    startDisplay({"-extension", "XTEST"});
    completeFirstRun(folder_.path());
    launch();
    EXPECT_TRUE(awaitLine("[Platform] This desktop does not allow: accessibility"));
    EXPECT_TRUE(awaitActive(*eye_, "Velmo Settings"));
    EXPECT_FALSE(console().contains("[Platform] ready"));
}

TEST_F(ForbiddingDisplay, WithoutTheScreenAFirstRunLeadsThroughIt)
{
    startDisplay({});
    ASSERT_NE(nameMonitorLikeWayland(), xcb_atom_t{XCB_NONE});
    launch();
    EXPECT_TRUE(awaitLine("[Platform] This desktop does not allow: screenRecording"));
    EXPECT_TRUE(awaitActive(*eye_, "Velmo"));
    EXPECT_FALSE(console().contains("[Platform] ready"));
}

} // namespace
} // namespace velmo::test
