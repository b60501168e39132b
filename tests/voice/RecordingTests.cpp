#include "support/voice/VoiceTest.h"

#include <QRegularExpression>

namespace velmo {

class RecordingTest : public VoiceTest {
protected:
    [[nodiscard]] static QString started(const QString& path)
    {
        return QStringLiteral("Recording started file=") + QFileInfo(path).fileName();
    }
    [[nodiscard]] FakeAudioRecorders::Recording& recording(size_t index) const
    {
        return *recorders.recordings.at(index);
    }
};

TEST_F(RecordingTest, RecordsIntoAFreshTemporaryFile)
{
    service->startRecording();
    ASSERT_EQ(recorders.recordings.size(), 1U);
    const QString path = recording(0).path;
    static const QRegularExpression name(
        QStringLiteral("^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\\.m4a$"));
    EXPECT_EQ(QFileInfo(path).path(), temporary.path());
    EXPECT_TRUE(name.match(QFileInfo(path).fileName()).hasMatch()) << path.toStdString();
    EXPECT_TRUE(recording(0).isRunning());
    EXPECT_EQ(recording(0).settings.sampleRate, 44100);
    EXPECT_EQ(recording(0).settings.channelCount, 1);
    EXPECT_EQ(recording(0).settings.quality, 96);
    EXPECT_EQ(messages(), QStringList{started(path)});
}

TEST_F(RecordingTest, ANewRecordingReplacesTheOldOneAndItsFile)
{
    service->startRecording();
    service->startRecording();
    ASSERT_EQ(recorders.recordings.size(), 2U);
    EXPECT_NE(recording(0).path, recording(1).path);
    EXPECT_TRUE(recording(0).isDestroyed);
    EXPECT_TRUE(recording(1).isRunning());
    EXPECT_EQ(temporaryFiles(), QStringList{QFileInfo(recording(1).path).fileName()});
    EXPECT_EQ(messages(), (QStringList{started(recording(0).path), started(recording(1).path)}));
}

TEST_F(RecordingTest, MicrophoneIsKeptReadyAsLongAsTheServiceExists)
{
    EXPECT_EQ(recorders.readinessRequests, 1);
    EXPECT_EQ(recorders.readinessAlive(), 1);
    EXPECT_TRUE(recorders.requestedPaths.isEmpty());
    service.reset();
    EXPECT_EQ(recorders.readinessAlive(), 0);
}

TEST_F(RecordingTest, DiscardsARecording)
{
    service->startRecording();
    service->cancelRecording();
    EXPECT_EQ(recorders.recordersAlive(), 0);
    EXPECT_EQ(temporaryFiles(), QStringList());
    EXPECT_EQ(messages(), (QStringList{started(recording(0).path), QStringLiteral("Recording discarded")}));
    const Run run = transcribe();
    ASSERT_TRUE(turnUntil([&run] { return run.hasEnded(); }));
    EXPECT_EQ(run.text(), u"! No audio file to transcribe");
}

TEST_F(RecordingTest, DiscardingIsLoggedThoughThereIsNothingToDiscard)
{
    service->cancelRecording();
    service->cancelRecording();
    EXPECT_EQ(messages(),
              (QStringList{QStringLiteral("Recording discarded"), QStringLiteral("Recording discarded")}));
}

TEST_F(RecordingTest, TheServiceTakesItsRecordingWithIt)
{
    service->startRecording();
    service.reset();
    EXPECT_EQ(recorders.recordersAlive(), 0);
    EXPECT_EQ(temporaryFiles(), QStringList());
}

TEST_F(RecordingTest, ARefusedRecordingIsLoggedAndShowsInTheTranscript)
{
    recorders.refusal = FakeAudioRecorders::failure(QStringLiteral("No microphone was found."));
    EXPECT_EQ(recordAndTranscribe(), u"! No microphone was found.");
    EXPECT_EQ(messages(),
              QStringList{QStringLiteral("Failed to start recording error=No microphone was found.")});
    EXPECT_TRUE(client->requests.empty());
    const Run again = transcribe();
    ASSERT_TRUE(turnUntil([&again] { return again.hasEnded(); }));
    EXPECT_EQ(again.text(), u"! No audio file to transcribe");
}

TEST_F(RecordingTest, ARefusedRecordingLeavesTheOneBeforeRunning)
{
    service->startRecording();
    recorders.refusal = FakeAudioRecorders::failure(QStringLiteral("The microphone is gone."));
    service->startRecording();
    EXPECT_TRUE(recording(0).isRunning());
    const Run run = transcribe();
    EXPECT_TRUE(recording(0).isStopped);
    ASSERT_TRUE(turnUntil([&run] { return run.hasEnded(); }));
    // The recording that was asked for last is the one that is missing.
    EXPECT_EQ(run.text(), u"! The microphone is gone.");
    EXPECT_TRUE(client->requests.empty());
    EXPECT_EQ(recorders.recordersAlive(), 0);
    EXPECT_EQ(temporaryFiles(), QStringList());
}

TEST_F(RecordingTest, DiscardingAfterARefusalEndsTheOneBefore)
{
    service->startRecording();
    recorders.refusal = FakeAudioRecorders::failure(QStringLiteral("The microphone is gone."));
    service->startRecording();
    service->cancelRecording();
    EXPECT_EQ(recorders.recordersAlive(), 0);
    EXPECT_EQ(temporaryFiles(), QStringList());
}

TEST_F(RecordingTest, ARefusalIsForgottenByTheNextRecording)
{
    recorders.refusal = FakeAudioRecorders::failure(QStringLiteral("The microphone is gone."));
    service->startRecording();
    recorders.refusal.reset();
    EXPECT_EQ(recordAndTranscribe(), u"practice transcript of 5 audio bytes");
}

TEST_F(RecordingTest, AStartThatFailsLaterIsLoggedAsSuch)
{
    recorders.startFailure = FakeAudioRecorders::failure(QStringLiteral("The sound server is gone."));
    service->startRecording();
    EXPECT_EQ(messages(), QStringList{started(recording(0).path)});
    settle();
    EXPECT_EQ(messages(),
              QStringList{QStringLiteral("Failed to start recording error=The sound server is gone.")});
    const Run run = transcribe();
    ASSERT_TRUE(turnUntil([&run] { return run.hasEnded(); }));
    EXPECT_EQ(run.text(), u"! The sound server is gone.");
    EXPECT_EQ(messages(), QStringList());
    EXPECT_TRUE(client->requests.empty());
    EXPECT_EQ(recorders.recordersAlive(), 0);
}

TEST_F(RecordingTest, AStartThatFailsAfterTheDiscardIsNotLogged)
{
    recorders.startFailure = FakeAudioRecorders::failure(QStringLiteral("The sound server is gone."));
    service->startRecording();
    service->cancelRecording();
    settle();
    EXPECT_EQ(messages(), (QStringList{started(recording(0).path), QStringLiteral("Recording discarded")}));
}

TEST_F(RecordingTest, RecordingEndsWithTheCallAndIsReadOnceComplete)
{
    recorders.answersStopAtOnce = false;
    service->startRecording();
    auto task = service->stopAndTranscribe();
    EXPECT_TRUE(recording(0).isStopped);
    recording(0).sound = "the last syllable";
    const Run run = start(std::move(task));
    settle();
    EXPECT_TRUE(client->requests.empty());
    recorders.finishStop(0);
    ASSERT_TRUE(turnUntil([&run] { return run.hasEnded(); }));
    EXPECT_EQ(run.text(), u"practice transcript of 17 audio bytes");
}

TEST_F(RecordingTest, ARecordingThatCannotBeCompletedSaysWhy)
{
    recorders.stopError = FakeAudioRecorders::failure(QStringLiteral("The disk is full."));
    EXPECT_EQ(recordAndTranscribe(), u"! The disk is full.");
    EXPECT_EQ(messages(), QStringList{started(recording(0).path)});
    EXPECT_TRUE(client->requests.empty());
}

TEST_F(RecordingTest, AFileThatIsGoneIsAReadError)
{
    recorders.losesFiles = true;
    EXPECT_EQ(recordAndTranscribe(), u"! The recording could not be read: No such file or directory");
    EXPECT_EQ(messages(), QStringList{started(recording(0).path)});
    EXPECT_TRUE(client->requests.empty());
}

TEST_F(RecordingTest, AnEmptyFileIsSentAsItIs)
{
    recorders.sound.clear();
    EXPECT_TRUE(recordAndTranscribe().startsWith(QStringLiteral("! HTTP 422 from Replicate API: ")));
    EXPECT_EQ(messages().mid(0, 2), beginning());
    EXPECT_TRUE(client->requests.at(0).body.contains(R"("audio":"data:audio/m4a;base64,")"));
}

} // namespace velmo
