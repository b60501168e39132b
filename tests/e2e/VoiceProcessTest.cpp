#include "e2e/ProgramProcess.h"
#include "support/sound/SoundServer.h"

#include <QDir>

namespace velmo::test {
namespace {

/// The program while somebody speaks.
class VoiceProcess : public ProgramProcess {
protected:
    void recordInPanel()
    {
        ASSERT_TRUE(sounds_.isReady() && sounds_.plugMicrophone());
        environment_ = QProcessEnvironment::systemEnvironment();
        environment_.insert(QStringLiteral("REPLICATE_API_TOKEN"), QStringLiteral("nobody's"));
        environment_.insert(QStringLiteral("TMPDIR"), temporary_.path());
        launchAndAwait();
        input_.pressButton(kMiddle);
        moveBy(60, 40);
        ASSERT_TRUE(awaitLine("[Session] Locked active screen to"));
        input_.releaseButton(kMiddle);
        ASSERT_TRUE(awaitCondition([this] { return !client_->hasFocus(); }));
        input_.press("Return");
        ASSERT_TRUE(awaitLine("[Replicate] Recording started file="));
        ASSERT_TRUE(awaitCondition([this] { return files() == 1; }));
        // The microphone is open.
        ASSERT_TRUE(awaitCondition([this] { return sounds_.recordingCount() == 1; }));
    }
    [[nodiscard]] qsizetype files() const
    {
        return QDir(temporary_.path()).entryList({QStringLiteral("*.m4a")}, QDir::Files).size();
    }

    QTemporaryDir temporary_;
    SoundServer sounds_{SoundServer::Kind::PulseAudio};
};

TEST_F(VoiceProcess, ToldToEndItLeavesNoRecording)
{
    recordInPanel();
    process_.terminate();
    ASSERT_TRUE(process_.waitForFinished());
    input_.letGo({"Return"});
    EXPECT_EQ(process_.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process_.exitCode(), 0);
    EXPECT_EQ(files(), 0);
    EXPECT_TRUE(awaitCondition([this] { return sounds_.recordingCount() == 0; }));
}

} // namespace
} // namespace velmo::test
