#include "platform/linux/InstanceMessages.h"
#include "support/platform/InstanceTest.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace velmo::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Kind = RemoteOutcome::Kind;

class ApplicationInstanceTest : public InstanceTest {};

TEST_F(ApplicationInstanceTest, TheSecondIsAnsweredByTheFirst)
{
    auto first = start();
    ASSERT_EQ(first->claim(RemoteVerb::Settings).kind, Kind::First);
    serve(*first);
    auto second = start();
    const RemoteOutcome outcome = whileServing([&] { return second->claim(RemoteVerb::Annotate); });
    EXPECT_EQ(outcome.kind, Kind::Answered);
    EXPECT_TRUE(outcome.reply.isAccepted);
    EXPECT_EQ(outcome.processID, getpid());
    EXPECT_THAT(asked, ElementsAre(RemoteVerb::Annotate)) << "what made the first the first is not asked";
}

TEST_F(ApplicationInstanceTest, EveryVerbArrivesAndEveryReplyComesBack)
{
    auto first = start();
    ASSERT_EQ(first->claim(std::nullopt).kind, Kind::First);
    reply = {false, QStringLiteral("Not \"today\", 100%\n\xC3\xA4.")};
    serve(*first);
    auto second = start();
    const std::vector verbs{RemoteVerb::Ping,   RemoteVerb::Annotate, RemoteVerb::Settings,
                            RemoteVerb::Cancel, RemoteVerb::Quit,     RemoteVerb::Status};
    for (const RemoteVerb verb : verbs) {
        const RemoteOutcome outcome = whileServing([&] { return second->deliver(verb); });
        EXPECT_EQ(outcome.kind, Kind::Answered);
        EXPECT_FALSE(outcome.reply.isAccepted);
        EXPECT_EQ(outcome.reply.text, reply.text);
    }
    EXPECT_EQ(asked, verbs);
}

TEST_F(ApplicationInstanceTest, AStartThatWantsNothingDisturbsNobody)
{
    auto first = start();
    ASSERT_EQ(first->claim(std::nullopt).kind, Kind::First);
    auto second = start();
    EXPECT_EQ(second->claim(std::nullopt).kind, Kind::Answered) << "although the first does not serve yet";
}

TEST_F(ApplicationInstanceTest, WhoAsksAFirstThatIsStillStartingWaitsForIt)
{
    auto first = start();
    ASSERT_EQ(first->claim(std::nullopt).kind, Kind::First);
    auto second = start();
    auto outcome = std::async(std::launch::async, [&] { return second->claim(RemoteVerb::Annotate); });
    serve(*first);
    EXPECT_EQ(turnUntilReady(outcome).kind, Kind::Answered);
    EXPECT_THAT(asked, ElementsAre(RemoteVerb::Annotate));
}

TEST_F(ApplicationInstanceTest, NobodyRunsWhereNobodyIsFirst)
{
    EXPECT_EQ(start()->deliver(RemoteVerb::Cancel).kind, Kind::NobodyRuns);
}

TEST_F(ApplicationInstanceTest, ThePlaceIsFreeWhenTheFirstEnds)
{
    auto first = start();
    ASSERT_EQ(first->claim(std::nullopt).kind, Kind::First);
    first.reset();
    auto second = start();
    EXPECT_EQ(second->deliver(RemoteVerb::Ping).kind, Kind::NobodyRuns);
    EXPECT_EQ(second->claim(RemoteVerb::Annotate).kind, Kind::First);
}

TEST_F(ApplicationInstanceTest, WhoWaitsForOneThatEndsInsteadTakesItsPlace)
{
    auto first = start();
    ASSERT_EQ(first->claim(std::nullopt).kind, Kind::First);
    auto second = start();
    auto outcome = std::async(std::launch::async, [&] { return second->claim(RemoteVerb::Annotate); });
    first.reset();
    EXPECT_EQ(outcome.get().kind, Kind::First);
}

TEST_F(ApplicationInstanceTest, AStartDuringTheFarewellTakesThePlaceAfterwards)
{
    auto first = start();
    ASSERT_EQ(first->claim(std::nullopt).kind, Kind::First);
    serve(*first);
    reply = {false, QStringLiteral("Velmo is ending."), true};
    auto second = std::async(std::launch::async, [this] {
        auto instance = start();
        return instance->claim(RemoteVerb::Settings).kind;
    });
    ASSERT_TRUE(awaitCondition([this] { return asked.size() > 1; })) << "it asks again";
    first.reset();
    EXPECT_EQ(turnUntilReady(second), Kind::First);
}

TEST_F(ApplicationInstanceTest, ASocketThatAKilledOneLeftIsReplaced)
{
    auto first = start();
    ASSERT_EQ(first->claim(std::nullopt).kind, Kind::First);
    first.reset();
    const QString path = privateFolder() + QStringLiteral("/display:5.socket");
    ASSERT_TRUE(QFile::exists(path)) << "nobody takes it away";
    auto second = start();
    ASSERT_EQ(second->claim(RemoteVerb::Annotate).kind, Kind::First);
    serve(*second);
    auto third = start();
    EXPECT_EQ(whileServing([&] { return third->deliver(RemoteVerb::Ping); }).kind, Kind::Answered);
}

TEST_F(ApplicationInstanceTest, OneThatDoesNotAnswerIsNotWaitedForLong)
{
    auto first = start();
    ASSERT_EQ(first->claim(std::nullopt).kind, Kind::First);
    const auto begin = Clock::now();
    const RemoteOutcome outcome = start()->claim(RemoteVerb::Annotate);
    EXPECT_EQ(outcome.kind, Kind::Silent);
    EXPECT_EQ(outcome.processID, getpid());
    EXPECT_GE(Clock::now() - begin, LinuxApplicationInstance::kPatience);
}

TEST_F(ApplicationInstanceTest, EachDisplayHasAPlaceOfItsOwn)
{
    auto first = start();
    ASSERT_EQ(first->claim(std::nullopt).kind, Kind::First);
    serve(*first);
    surroundings.display = QStringLiteral(":6");
    auto other = start();
    EXPECT_EQ(other->deliver(RemoteVerb::Cancel).kind, Kind::NobodyRuns);
    EXPECT_EQ(other->claim(RemoteVerb::Annotate).kind, Kind::First);
    surroundings.display = QStringLiteral(":5.1");
    auto sameDisplay = start();
    EXPECT_EQ(whileServing([&] { return sameDisplay->claim(RemoteVerb::Annotate); }).kind, Kind::Answered);
}

TEST_F(ApplicationInstanceTest, WithoutADisplayWhicheverRunsIsAsked)
{
    surroundings.display = QStringLiteral(":7");
    auto first = start();
    ASSERT_EQ(first->claim(std::nullopt).kind, Kind::First);
    serve(*first);
    surroundings.display.clear();
    auto command = start();
    EXPECT_EQ(whileServing([&] { return command->deliver(RemoteVerb::Cancel); }).kind, Kind::Answered);
    EXPECT_THAT(asked, ElementsAre(RemoteVerb::Cancel));
}

TEST_F(ApplicationInstanceTest, NothingOfItIsForOthers)
{
    auto first = start();
    ASSERT_EQ(first->claim(std::nullopt).kind, Kind::First);
    EXPECT_EQ(modeOf(privateFolder()), 0700U);
    EXPECT_EQ(modeOf(privateFolder() + QStringLiteral("/display:5.socket")) & 0777U, 0600U);
    EXPECT_EQ(modeOf(privateFolder() + QStringLiteral("/display:5.lock")) & 0777U, 0600U);
}

TEST_F(ApplicationInstanceTest, AFolderThatOthersMayWriteIntoIsLeftForTemporaryFiles)
{
    for (const mode_t mode : {0777, 0770, 0722}) {
        ASSERT_EQ(chmod(runtime.path().toLocal8Bit().constData(), mode), 0);
        auto first = start();
        EXPECT_EQ(first->claim(std::nullopt).kind, Kind::First);
        EXPECT_FALSE(QFile::exists(privateFolder()));
        EXPECT_TRUE(QFile::exists(temporaryFolder()));
        EXPECT_EQ(start()->claim(std::nullopt).kind, Kind::Answered);
    }
}

TEST_F(ApplicationInstanceTest, WithoutASessionsFolderTemporaryFilesHaveThePlace)
{
    surroundings.runtimeFolder.clear();
    auto first = start();
    EXPECT_EQ(first->claim(std::nullopt).kind, Kind::First);
    EXPECT_EQ(modeOf(temporaryFolder()), 0700U);
    EXPECT_EQ(start()->claim(std::nullopt).kind, Kind::Answered);
}

TEST_F(ApplicationInstanceTest, SomebodyElsesFolderIsNotUsed)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give a folder away";
    constexpr uid_t kNobody = 65534;
    ASSERT_EQ(chown(runtime.path().toLocal8Bit().constData(), kNobody, kNobody), 0);
    ASSERT_TRUE(QDir().mkdir(temporaryFolder()));
    ASSERT_EQ(chmod(temporaryFolder().toLocal8Bit().constData(), 0700), 0);
    ASSERT_EQ(chown(temporaryFolder().toLocal8Bit().constData(), kNobody, kNobody), 0);
    auto first = start();
    EXPECT_EQ(first->claim(std::nullopt).kind, Kind::First);
    EXPECT_THAT(problemsOf(*first),
                ElementsAre(QStringLiteral("The folder ") + temporaryFolder() +
                            QStringLiteral(" cannot be used: it belongs to somebody else")));
    EXPECT_THAT(QDir(temporaryFolder()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), IsEmpty());
}

TEST_F(ApplicationInstanceTest, AFolderThatOthersMayEnterIsNotUsed)
{
    ASSERT_TRUE(QDir().mkdir(privateFolder()));
    ASSERT_EQ(chmod(privateFolder().toLocal8Bit().constData(), 0755), 0);
    auto first = start();
    EXPECT_EQ(first->claim(std::nullopt).kind, Kind::First);
    EXPECT_THAT(problemsOf(*first), ElementsAre(QStringLiteral("The folder ") + privateFolder() +
                                                QStringLiteral(" cannot be used: others may enter it")));
}

TEST_F(ApplicationInstanceTest, ALinkInTheFoldersPlaceIsNotFollowed)
{
    QTemporaryDir elsewhere;
    ASSERT_TRUE(QFile::link(elsewhere.path(), privateFolder()));
    auto first = start();
    EXPECT_EQ(first->claim(std::nullopt).kind, Kind::First);
    EXPECT_EQ(problemsOf(*first).size(), 1);
    EXPECT_THAT(QDir(elsewhere.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), IsEmpty());
}

TEST_F(ApplicationInstanceTest, TheEndOfAProcessIsWaitedFor)
{
    auto instance = start();
    ChildProcess program({"sleep", "1000"});
    EXPECT_FALSE(instance->awaitEnd(program.processID(), std::chrono::milliseconds(20)));
    auto isGone = std::async(std::launch::async, [&, process = program.processID()] {
        return instance->awaitEnd(process, kPatience);
    });
    program.stop();
    EXPECT_TRUE(isGone.get());
}

TEST(InstanceMessages, WhatAnotherVersionAsksIsRefusedInWords)
{
    for (const char* bytes : {"", "annotate", "{\"verb\": \"dance\"}", "[]", "{\"verb\": 3}"}) {
        const auto answer = decodedAnswer(answerTo(bytes, QStringLiteral(":5"), [](RemoteVerb) {
            ADD_FAILURE() << "was asked for something";
            return RemoteReply{};
        }));
        ASSERT_TRUE(answer.has_value()) << bytes;
        EXPECT_FALSE(answer->reply.isAccepted);
        EXPECT_TRUE(answer->reply.text.contains(QStringLiteral("another version")));
    }
    EXPECT_FALSE(decodedAnswer("gone").has_value());
}

TEST(InstanceMessages, ADisplayIsTheSameOnEachOfItsScreens)
{
    const std::vector<std::pair<const char*, const char*>> names{
        {":0", ":0"},
        {":0.1", ":0"},
        {"unix:0.0", ":0"},
        {"localhost:10.0", "localhost:10"},
        {"host.example.com:3", "host.example.com:3"},
        {"/tmp/launch/org.x:0", "/tmp/launch/org.x:0"},
        {"", ""},
    };
    for (const auto& [name, identity] : names)
        EXPECT_EQ(displayIdentity(QString::fromUtf8(name)), QString::fromUtf8(identity)) << name;
}

} // namespace
} // namespace velmo::test
