#include "support/app/AskTest.h"
#include "support/core/AbsentLibrary.h"

namespace velmo {

namespace {

using practice::ScenarioKind;

const QString kQuestion = QStringLiteral("What is this?");
const QString kLogFile = QStringLiteral("/tmp/velmo.log");

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

using AskCommandTest = AskTest;

TEST_F(AskCommandTest, PrintsTheAnswerAndNothingElseToStandardOutput)
{
    const AskResult result = ask({kQuestion});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, allPieces());
    EXPECT_EQ(result.otherErrors(), QStringList{});
    EXPECT_EQ(result.logLines(),
              (QStringList{
                  QStringLiteral(
                      "[Anthropic] Preparing request model=claude-sonnet-4-6 messages=1 imageAttached=false"),
                  QStringLiteral("[Anthropic] Starting request attempt=1"),
                  QStringLiteral("[Anthropic] Streaming response started status=200"),
                  QStringLiteral("[Anthropic] Streaming response completed emittedChunks=6")}));
}

TEST_F(AskCommandTest, SendsTheQuestionAndTheUsualInstruction)
{
    ASSERT_EQ(ask({QStringLiteral("Why"), QStringLiteral("%1?")}).exitCode, 0);
    const QJsonObject body = sentBody();
    EXPECT_EQ(
        body[QStringLiteral("messages")][0][QStringLiteral("content")][0][QStringLiteral("text")].toString(),
        QStringLiteral("Why %1?"));
    EXPECT_EQ(body[QStringLiteral("messages")].toArray().size(), 1);
    EXPECT_FALSE(body[QStringLiteral("system")].toString().isEmpty());
    EXPECT_EQ(server.requests().first().header("x-api-key"), kKey.toUtf8());
}

TEST_F(AskCommandTest, ReadsTheQuestionFromStandardInput)
{
    const AskResult result =
        ask({QStringLiteral("--provider"), QStringLiteral("openai")}, "  What is\nthis? \xF0\x9F\x8E\xAF\n");
    EXPECT_EQ(result.exitCode, 0);
    const QJsonArray messages = sentBody()[QStringLiteral("messages")].toArray();
    EXPECT_EQ(messages.last()[QStringLiteral("content")].toString(),
              QString::fromUtf8("What is\nthis? \xF0\x9F\x8E\xAF"));
}

TEST_F(AskCommandTest, NeedsAQuestion)
{
    for (const AskResult& result : {ask({}, " \n"), ask({QStringLiteral("  ")}), ask({})}) {
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.otherErrors(), QStringList{QStringLiteral("velmo: there is no question")});
    }
    EXPECT_EQ(server.openedConnections(), 0);
}

TEST_F(AskCommandTest, WrongUsageIsExplained)
{
    const AskResult result = ask({QStringLiteral("--colour"), kQuestion});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(result.errors.startsWith("velmo: unknown option"));
    EXPECT_TRUE(result.errors.contains("--colour"));
    EXPECT_EQ(server.openedConnections(), 0);
}

TEST_F(AskCommandTest, TheProviderAndTheModelCanBeChosen)
{
    const AskResult result =
        ask({QStringLiteral("--provider=openai"), QStringLiteral("--model=m-1"), kQuestion});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, allPieces());
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_EQ(server.requests().first().path, "/v1/chat/completions");
    EXPECT_EQ(server.requests().first().header("Authorization"), "Bearer " + kKey.toUtf8());
    EXPECT_EQ(sentBody()[QStringLiteral("model")].toString(), QStringLiteral("m-1"));
    EXPECT_EQ(result.logLines().value(0),
              QStringLiteral("[OpenAI] Preparing request model=m-1 messages=1 imageAttached=false"));
}

TEST_F(AskCommandTest, TheStoredChoiceHoldsWithoutAnOption)
{
    QDir(home.path()).mkdir(QStringLiteral("velmo"));
    writeFile(QStringLiteral("velmo/settings.json"),
              R"({"selectedProvider": "openai", "openAIModel": "gpt-5.4-nano"})");
    ASSERT_EQ(ask({kQuestion}).exitCode, 0);
    EXPECT_EQ(server.requests().first().path, "/v1/chat/completions");
    EXPECT_EQ(sentBody()[QStringLiteral("model")].toString(), QStringLiteral("gpt-5.4-nano"));
}

TEST_F(AskCommandTest, TheEnvironmentNamesTheModelOfAServerOfOnesOwn)
{
    environment.insert(QStringLiteral("ANTHROPIC_MODEL"), QStringLiteral("local-a"));
    environment.insert(QStringLiteral("OPENAI_MODEL"), QStringLiteral("local-o"));
    ASSERT_EQ(ask({kQuestion}).exitCode, 0);
    EXPECT_EQ(sentBody()[QStringLiteral("model")].toString(), QStringLiteral("local-a"));
    server.clearRequests();
    ASSERT_EQ(ask({QStringLiteral("--provider=openai"), kQuestion}).exitCode, 0);
    EXPECT_EQ(sentBody()[QStringLiteral("model")].toString(), QStringLiteral("local-o"));
    server.clearRequests();
    ASSERT_EQ(ask({QStringLiteral("--model=chosen"), kQuestion}).exitCode, 0);
    EXPECT_EQ(sentBody()[QStringLiteral("model")].toString(), QStringLiteral("chosen"))
        << "what was typed goes first";
}

TEST_F(AskCommandTest, AMissingKeyIsSaidAsInTheTranscript)
{
    const QString kNoKeyring = QStringLiteral("velmo: There is no session bus, so no keyring can be reached. "
                                              "Put keys into the environment.");
    environment.remove(QStringLiteral("ANTHROPIC_API_KEY"));
    environment.insert(QStringLiteral("OPENAI_API_KEY"), QString());
    const AskResult anthropic = ask({kQuestion});
    EXPECT_EQ(anthropic.exitCode, 1);
    EXPECT_EQ(anthropic.output, "");
    EXPECT_EQ(anthropic.otherErrors(),
              QStringList({QStringLiteral("Error: No Anthropic API key configured. Add it in Settings."),
                           kNoKeyring}));
    const AskResult openAI = ask({QStringLiteral("--provider=openai"), kQuestion});
    EXPECT_EQ(openAI.exitCode, 1);
    EXPECT_EQ(openAI.otherErrors(),
              QStringList(
                  {QStringLiteral("Error: No OpenAI API key configured. Add it in Settings."), kNoKeyring}));
    EXPECT_EQ(server.openedConnections(), 0);
}

TEST_F(AskCommandTest, AFailureIsSaidAsInTheTranscript)
{
    server.setScenario({.kind = ScenarioKind::Status529, .message = QStringLiteral("Overloaded %1")});
    const AskResult result = ask({kQuestion});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    ASSERT_EQ(result.otherErrors().size(), 1);
    EXPECT_TRUE(result.otherErrors().first().startsWith(QStringLiteral("[Error: HTTP error 529: {")));
    EXPECT_TRUE(result.otherErrors().first().contains(QStringLiteral("Overloaded %1")));
    EXPECT_TRUE(result.otherErrors().first().endsWith(QStringLiteral("}]")));
    EXPECT_EQ(server.requests().size(), 1);
}

TEST_F(AskCommandTest, ARepeatedKeyIsNotShown)
{
    server.setScenario({.kind = ScenarioKind::Status401, .echoKey = true});
    const AskResult result = ask({kQuestion});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.otherErrors().value(0).contains(QStringLiteral("for the key '***'")));
}

TEST_F(AskCommandTest, ALostConnectionIsTriedOnceMore)
{
    server.enqueue({{.kind = ScenarioKind::DropBeforeHead}});
    const AskResult result = ask({kQuestion});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, allPieces());
    EXPECT_EQ(server.requests().size(), 2);
    EXPECT_EQ(result.logLines().mid(1, 3),
              (QStringList{QStringLiteral("[Anthropic] Starting request attempt=1"),
                           QStringLiteral("[Anthropic] Request attempt failed attempt=1 retryable=true "
                                          "error=The network connection was lost."),
                           QStringLiteral("[Anthropic] Starting request attempt=2")}));
}

TEST_F(AskCommandTest, AnEmptyAnswerIsASuccess)
{
    server.setScenario({.kind = ScenarioKind::Empty200});
    const AskResult result = ask({kQuestion});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.otherErrors(), QStringList{});
}

TEST_F(AskCommandTest, TheLogIsContinuedAndNotEmptied)
{
    ASSERT_EQ(ask({kQuestion}).exitCode, 0);
    const QByteArray before = contentOf(kLogFile);
    if (before.isEmpty())
        GTEST_SKIP() << "the log file belongs to somebody else";
    const AskResult second = ask({kQuestion});
    const QByteArray after = contentOf(kLogFile);
    ASSERT_TRUE(after.startsWith(before));
    EXPECT_EQ(after.sliced(before.size()), second.errors) << "the same lines as on standard error";
    EXPECT_FALSE(after.contains(kKey.toUtf8()));
}

TEST_F(AskCommandTest, NeedsNoDisplayAndNoHome)
{
    for (const char* name :
         {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "XDG_RUNTIME_DIR", "HOME", "XDG_CONFIG_HOME"})
        environment.remove(QString::fromLatin1(name));
    // What cannot be written there is said, but does not stop the question.
    environment.insert(QStringLiteral("HOME"), QStringLiteral("/nonexistent"));
    const AskResult result = ask({kQuestion});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, allPieces());
}

TEST_F(AskCommandTest, ABrokenSettingsFileIsSaidAndDoesNotStopTheQuestion)
{
    QDir(home.path()).mkdir(QStringLiteral("velmo"));
    writeFile(QStringLiteral("velmo/settings.json"), "{\"selectedProvider\": \"ope");
    const AskResult result = ask({kQuestion});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, allPieces());
    EXPECT_TRUE(result.logLines().value(0).startsWith(QStringLiteral("[Platform] Settings file ")))
        << result.errors.constData();
    EXPECT_TRUE(QFile::exists(home.filePath(QStringLiteral("velmo/settings.json.bad"))));
}

TEST_F(AskCommandTest, PlainHttpToAnotherComputerIsRefused)
{
    environment.insert(QStringLiteral("ANTHROPIC_BASE_URL"), QStringLiteral("http://192.0.2.1:8080"));
    const AskResult result = ask({kQuestion});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.otherErrors().value(0).contains(QStringLiteral("must begin with https")));
}

TEST_F(AskCommandTest, WithoutTheLibraryForRequestsItSaysWhatToInstall)
{
    test::makeAbsent(QStringLiteral("libcurl.so.4"), home.path(), environment);
    const AskResult result = ask({kQuestion});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.otherErrors().value(0).contains(
        QStringLiteral("The library libcurl.so.4 is missing: install it, and start Velmo again.")))
        << result.errors.constData();
}

} // namespace velmo
