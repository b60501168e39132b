#include "e2e/ProgramDesk.h"
#include "panel/HoldToRecordButton.h"
#include "panel/QueryInputPanel.h"
#include "panel/QueryInputTextView.h"
#include "support/core/Environment.h"
#include "support/core/EventLoop.h"
#include "support/sound/DecodedSound.h"
#include "support/sound/SoundServer.h"
#include "support/sound/Speech.h"
#include "support/widgets/ShownWidgets.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QTimer>

namespace velmo::test {
namespace {

/// Questions that are spoken into the microphone of a real sound server, through the whole program.
class VoiceJob : public ProgramDesk, public testing::WithParamInterface<SoundServer::Kind> {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(sounds_.isReady());
        ProgramDesk::SetUp();
        token_.assign(QByteArrayLiteral("practice-speech-token"));
        address_.assign((practice_.baseUrl() + QStringLiteral("/v1")).toUtf8());
        startProgram();
    }

    void TearDown() override
    {
        ProgramDesk::TearDown();
        EXPECT_TRUE(soundFiles().isEmpty()) << soundFiles().join(u' ').toStdString();
    }

    [[nodiscard]] QStringList soundFiles() const
    {
        return QDir(temporary_.path()).entryList({QStringLiteral("*.m4a")}, QDir::Files);
    }

    void openPanel()
    {
        input_.chord({"Control_L", "Alt_L", "space"});
        ASSERT_TRUE(awaitCondition([] { return overlayIsUp(); }));
        circle(desk_->target());
        ASSERT_TRUE(awaitState(SessionState::Querying, 1));
        ASSERT_TRUE(awaitQuestionField());
    }
    /// The panel comes to rest, so that what is in it stays in its place.
    [[nodiscard]] static QPoint placeOf(const std::function<const QWidget*()>& find)
    {
        constexpr qint64 kRest = 300;
        QPoint place;
        QElapsedTimer rest;
        rest.start();
        EXPECT_TRUE(awaitCondition([&] {
            const QWidget* widget = find();
            const QPoint now = widget != nullptr ? widget->mapToGlobal(widget->rect().center()) : QPoint();
            if (std::exchange(place, now) != now || widget == nullptr)
                rest.restart();
            return rest.elapsed() > kRest;
        }));
        return place;
    }

    [[nodiscard]] const QList<ChatMessage>& messages() const { return session().chatMessages().messages(); }
    [[nodiscard]] static QString placeholder()
    {
        const auto fields = shownWidgets<QueryInputTextView>();
        return fields.empty() ? QString() : fields.front()->placeholderField().text();
    }
    [[nodiscard]] std::optional<practice::RecordedRequest> prediction() const
    {
        for (const auto& request : practice_.requests()) {
            if (request.plainPath().endsWith("/predictions"))
                return request;
        }
        return std::nullopt;
    }

    /// What arrived is the sound file that was promised, with that much of the speech in it.
    void expectSpeechArrived(double atLeastSeconds)
    {
        const auto request = prediction();
        ASSERT_TRUE(request);
        EXPECT_EQ(bearerKey(*request), "practice-speech-token");
        const QJsonObject input = QJsonDocument::fromJson(request->body)[u"input"].toObject();
        const QByteArray uri = input[u"audio"].toString().toLatin1();
        const QByteArray prefix = "data:audio/m4a;base64,";
        ASSERT_TRUE(uri.startsWith(prefix));
        QFile file(folder_.filePath(QStringLiteral("arrived.m4a")));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QByteArray::fromBase64(uri.sliced(prefix.size())));
        file.close();
        EXPECT_EQ(DecodedSound::property(file.fileName(), "codec_name"), "aac");
        EXPECT_EQ(DecodedSound::property(file.fileName(), "profile"), "LC");
        EXPECT_EQ(DecodedSound::property(file.fileName(), "sample_rate"), "44100");
        EXPECT_EQ(DecodedSound::property(file.fileName(), "channels"), "1");
        const DecodedSound sound(file.fileName());
        EXPECT_GT(sound.duration(), atLeastSeconds);
        EXPECT_GT(sound.loudness(), 0.02);
    }
    void expectNoTokenInTheLog() const { EXPECT_EQ(logCount(QStringLiteral("practice-speech-token")), 0); }

    QTemporaryDir temporary_;
    EnvironmentVariable temporaryFolder_{"TMPDIR", temporary_.path().toUtf8()};
    EnvironmentVariable token_{"REPLICATE_API_TOKEN"};
    EnvironmentVariable address_{"REPLICATE_BASE_URL"};
    SoundServer sounds_{GetParam()};
};

/// With a microphone that somebody speaks into without a pause.
class SpokenJob : public VoiceJob {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(sounds_.plugMicrophone());
        VoiceJob::SetUp();
        speaker_ = std::make_unique<SoundPlayer>(
            SoundServer::kMicrophoneSink, speech(QStringLiteral("Why does the latency jump after the deploy, "
                                                                "and which endpoint is to blame?")));
        ASSERT_TRUE(speaker_->isPlaying());
    }
    void speak(double seconds) const { speaker_->playOn(seconds); }

    std::unique_ptr<SoundPlayer> speaker_;
};

TEST_P(SpokenJob, HoldsReturnSpeaksLetsGoAndIsAnswered)
{
    openPanel();
    const QString usual = placeholder();
    input_.press("Return");
    ASSERT_TRUE(awaitLog(QStringLiteral("[QueryPanel] Keyboard hold-to-record started")));
    EXPECT_TRUE(awaitCondition([this] { return soundFiles().size() == 1; }));
    // Held for so long, the key repeats.
    speak(2);
    input_.letGo({"Return"});
    ASSERT_TRUE(awaitCondition([this] { return messages().size() == 2 && messages().back().isStreaming; }));
    EXPECT_TRUE(messages().back().text.isEmpty());
    ASSERT_TRUE(awaitState(SessionState::Querying, 3));
    EXPECT_THAT(messages().at(1).text.toStdString(), testing::StartsWith("practice transcript of "));
    EXPECT_FALSE(messages().at(2).text.isEmpty());
    EXPECT_EQ(logCount(QStringLiteral("[Replicate] Recording started file=")), 1);
    EXPECT_EQ(logCount(QStringLiteral("[QueryPanel] transcription submitted chars=")), 1);
    EXPECT_EQ(placeholder(), usual);
    expectSpeechArrived(1.9);
    expectNoTokenInTheLog();
}

TEST_P(SpokenJob, HoldsTheMicrophoneSpeaksLetsGoElsewhereAndIsAnswered)
{
    openPanel();
    const QPoint at = placeOf([]() -> const QWidget* {
        const auto found = shownWidgets<HoldToRecordButton>();
        return found.empty() ? nullptr : found.front();
    });
    input_.moveTo(at.x(), at.y());
    input_.pressButton(1);
    ASSERT_TRUE(awaitLog(QStringLiteral("[Replicate] Recording started file=")));
    speak(1);
    input_.moveTo(5, 5);
    speak(1);
    input_.releaseButton(1);
    ASSERT_TRUE(awaitState(SessionState::Querying, 3));
    EXPECT_EQ(logCount(QStringLiteral("[QueryPanel] Button hold-to-record ended duration=")), 1);
    expectSpeechArrived(1.9);
}

TEST_P(SpokenJob, ATapTeachesTheGestureAndSendsNothing)
{
    openPanel();
    const QString usual = placeholder();
    input_.tap("Return");
    EXPECT_TRUE(awaitCondition([] { return placeholder() == QStringLiteral("Hold Enter to record"); }));
    EXPECT_TRUE(awaitLog(QStringLiteral("[Replicate] Recording discarded")));
    EXPECT_TRUE(awaitCondition([&] { return placeholder() == usual; }));
    EXPECT_TRUE(awaitCondition([this] { return soundFiles().isEmpty(); }));
    EXPECT_FALSE(prediction());
}

TEST_P(SpokenJob, LosingTheKeyboardCountsAsLettingGo)
{
    openPanel();
    // The overlay is gone after the first question.
    ask("q", 3);
    ASSERT_TRUE(awaitQuestionField());
    input_.press("Return");
    ASSERT_TRUE(awaitLog(QStringLiteral("[QueryPanel] Keyboard hold-to-record started")));
    speak(0.5);
    const QRect target = desk_->target();
    input_.moveTo(target.left(), target.top());
    input_.click(1);
    EXPECT_TRUE(awaitLog(QStringLiteral("[QueryPanel] Keyboard hold-to-record ended duration=")));
    EXPECT_TRUE(awaitLog(QStringLiteral("[Replicate] Recording discarded")));
    input_.letGo({"Return"});
    EXPECT_TRUE(awaitCondition([this] { return soundFiles().isEmpty(); }));
    EXPECT_FALSE(prediction());
    EXPECT_EQ(messages().size(), 3);
}

TEST_P(SpokenJob, EscapeWhileRecordingLeavesNothing)
{
    openPanel();
    input_.press("Return");
    ASSERT_TRUE(awaitCondition([this] { return soundFiles().size() == 1; }));
    speak(1.6);
    input_.tap("Escape");
    ASSERT_TRUE(awaitState(SessionState::Idle, 0));
    EXPECT_TRUE(awaitLog(QStringLiteral("[Replicate] Recording discarded")));
    EXPECT_TRUE(awaitCondition([this] { return soundFiles().isEmpty(); }));
    input_.letGo({"Return"});
    EXPECT_FALSE(prediction());
}

TEST_P(SpokenJob, EscapeWhileTranscribingSubmitsNothingIntoTheNextSession)
{
    practice::SpeechOptions slow;
    constexpr int kPolls = 6;
    slow.pollsBeforeEnd = kPolls;
    practice_.setSpeech(slow);
    openPanel();
    input_.press("Return");
    ASSERT_TRUE(awaitLog(QStringLiteral("[QueryPanel] Keyboard hold-to-record started")));
    speak(1.7);
    input_.letGo({"Return"});
    ASSERT_TRUE(awaitLog(QStringLiteral("[Replicate] Prediction status=")));
    input_.tap("Escape");
    ASSERT_TRUE(awaitState(SessionState::Idle, 0));
    ASSERT_TRUE(awaitCondition([] { return !isUp<QueryInputPanel>(); }));
    openPanel();
    ASSERT_EQ(logCount(QStringLiteral("[Replicate] Prediction succeeded body=")), 0) << "too late to tell";
    ASSERT_TRUE(awaitLog(QStringLiteral("[Replicate] Prediction succeeded body=")));
    turnFor(std::chrono::milliseconds(200));
    EXPECT_EQ(messages().size(), 1);
    EXPECT_EQ(session().state().value(), SessionState::Querying);
    EXPECT_EQ(logCount(QStringLiteral("[QueryPanel] transcription")), 0);
}

TEST_P(SpokenJob, AnotherCaptureWhileReturnIsHeldEndsTheRecording)
{
    openPanel();
    ask("q", 3);
    ASSERT_TRUE(awaitQuestionField());
    input_.press("Return");
    ASSERT_TRUE(awaitLog(QStringLiteral("[QueryPanel] Keyboard hold-to-record started")));
    delegate_->requestAnnotation();
    ASSERT_TRUE(awaitCondition([] { return overlayIsUp(); }));
    EXPECT_TRUE(awaitLog(QStringLiteral("[Replicate] Recording discarded")));
    EXPECT_TRUE(awaitCondition([this] { return soundFiles().isEmpty(); }));
    input_.letGo({"Return"});
    input_.tap("Escape");
    EXPECT_TRUE(awaitState(SessionState::Querying, 3));
}

TEST_P(VoiceJob, WithoutAMicrophoneTheMessageSaysSo)
{
    openPanel();
    input_.press("Return");
    ASSERT_TRUE(awaitLog(QStringLiteral("[Replicate] Failed to start recording error=")));
    turnFor(std::chrono::milliseconds(1600));
    input_.letGo({"Return"});
    ASSERT_TRUE(awaitCondition([this] { return messages().size() == 2 && !messages().back().isStreaming; }));
    EXPECT_THAT(messages().back().text.toStdString(), testing::StartsWith("[Transcription failed: "));
    EXPECT_THAT(messages().back().text.toStdString(), testing::HasSubstr("microphone"));
    EXPECT_EQ(session().state().value(), SessionState::Querying);
    EXPECT_FALSE(prediction());
}

/// Nothing that the sound server does not do holds up the program.
TEST_P(VoiceJob, ASoundServerThatHangsNeverHoldsUpThePanel)
{
    ASSERT_TRUE(sounds_.plugMicrophone());
    openPanel();
    sounds_.halt();
    // What holds up the loop holds up its heartbeat.
    qint64 longest = 0;
    QElapsedTimer sinceBeat;
    sinceBeat.start();
    QTimer heart;
    heart.callOnTimeout([&] { longest = std::max(longest, sinceBeat.restart()); });
    heart.start(std::chrono::milliseconds(5));
    input_.press("Return");
    EXPECT_TRUE(awaitLog(QStringLiteral("[Replicate] Failed to start recording error=")));
    turnFor(std::chrono::milliseconds(1600));
    input_.letGo({"Return"});
    EXPECT_TRUE(awaitCondition([this] { return messages().size() == 2 && !messages().back().isStreaming; }));
    EXPECT_THAT(messages().back().text.toStdString(), testing::StartsWith("[Transcription failed: "));
    constexpr qint64 kGuard = 800; // A call that waits for the server would take a second and more.
    EXPECT_LT(longest, kGuard);
    sounds_.resume();
}

const auto kServers = testing::Values(SoundServer::Kind::PulseAudio, SoundServer::Kind::PipeWire);

std::string serverName(const testing::TestParamInfo<SoundServer::Kind>& info)
{
    return info.param == SoundServer::Kind::PulseAudio ? "PulseAudio" : "PipeWire";
}

INSTANTIATE_TEST_SUITE_P(SoundServers, VoiceJob, kServers, serverName);
INSTANTIATE_TEST_SUITE_P(SoundServers, SpokenJob, kServers, serverName);

} // namespace
} // namespace velmo::test
