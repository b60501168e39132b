#include "support/accessibility/BusAccess.h"
#include "support/accessibility/PrivateBuses.h"
#include "support/platform/InstanceTest.h"

#include <systemd/sd-bus.h>

#include <csignal>

namespace velmo::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Kind = RemoteOutcome::Kind;

const std::string kBus = "org.freedesktop.DBus";
const std::string kName = "app.velmo.Velmo";
const std::string kPath = "/app/velmo/Velmo";
const std::string kApplication = "org.freedesktop.Application";

/// The first of the starts, as the desktop sees it on its bus.
class InstanceBusTest : public InstanceTest {
protected:
    InstanceBusTest() { surroundings.busAddress = buses.sessionAddress().toStdString(); }

    [[nodiscard]] bool isNameTaken() const
    {
        return askBus(surroundings.busAddress, {kBus, "/", kBus, "GetNameOwner", kName}, [](BusMessage&) {});
    }

    /// The error's name; empty when it was done.
    [[nodiscard]] std::string call(const std::string& method, std::function<int(sd_bus_message*)> arguments)
    {
        const auto bus = BusConnection::open(surroundings.busAddress);
        std::optional<std::string> outcome;
        const BusRequest request{kName,        kPath,        kApplication,         method,
                                 std::nullopt, std::nullopt, std::move(arguments), BusActivation::IfNeeded};
        const auto waiting = bus->call(request, kPatience, [&](BusMessage& answer) {
            outcome = !answer.isError()                             ? ""
                      : answer.isError(SD_BUS_ERROR_NOT_SUPPORTED)  ? "NotSupported"
                      : answer.isError(SD_BUS_ERROR_INVALID_ARGS)   ? "InvalidArgs"
                      : answer.isError(SD_BUS_ERROR_UNKNOWN_METHOD) ? "UnknownMethod"
                                                                    : "Failed";
        });
        EXPECT_TRUE(awaitCondition([&] { return !bus->process() || outcome; }));
        return outcome.value_or("lost");
    }

    [[nodiscard]] std::string activate()
    {
        return call("Activate", [](sd_bus_message* message) {
            return sd_bus_message_append(message, "a{sv}", 1, "desktop-startup-id", "s", "id_TIME1");
        });
    }
    [[nodiscard]] std::string act(const std::string& action)
    {
        return call("ActivateAction", [&](sd_bus_message* message) {
            return sd_bus_message_append(message, "sava{sv}", action.c_str(), 0, 0);
        });
    }

    void claimAndServe(LinuxApplicationInstance& instance)
    {
        ASSERT_EQ(instance.claim(std::nullopt).kind, Kind::First);
        serve(instance);
    }

    PrivateBuses buses;
};

TEST_F(InstanceBusTest, TheDesktopFindsTheProgramByItsName)
{
    auto first = start();
    ASSERT_EQ(first->claim(std::nullopt).kind, Kind::First);
    EXPECT_TRUE(isNameTaken());
    first.reset();
    EXPECT_FALSE(isNameTaken());
}

TEST_F(InstanceBusTest, ActivatingOpensTheSettings)
{
    auto first = start();
    claimAndServe(*first);
    EXPECT_EQ(activate(), "");
    EXPECT_THAT(asked, ElementsAre(RemoteVerb::Settings));
}

TEST_F(InstanceBusTest, EveryActionIsOffered)
{
    auto first = start();
    claimAndServe(*first);
    for (const char* action : {"annotate", "settings", "cancel", "quit"})
        EXPECT_EQ(act(action), "") << action;
    EXPECT_THAT(
        asked, ElementsAre(RemoteVerb::Annotate, RemoteVerb::Settings, RemoteVerb::Cancel, RemoteVerb::Quit));
}

TEST_F(InstanceBusTest, WhatIsNotOfferedIsAnError)
{
    auto first = start();
    claimAndServe(*first);
    EXPECT_EQ(act("dance"), "InvalidArgs");
    EXPECT_EQ(act(""), "InvalidArgs");
    EXPECT_EQ(act("status"), "InvalidArgs");
    EXPECT_EQ(call("Open",
                   [](sd_bus_message* message) {
                       return sd_bus_message_append(message, "asa{sv}", 1, "file:///tmp/a.png", 0);
                   }),
              "NotSupported");
    EXPECT_EQ(call("Dance", {}), "UnknownMethod");
    EXPECT_THAT(asked, IsEmpty());
}

TEST_F(InstanceBusTest, ARefusalReachesTheDesktop)
{
    auto first = start();
    claimAndServe(*first);
    reply = {false, QStringLiteral("Velmo is ending.")};
    EXPECT_EQ(act("annotate"), "Failed");
}

TEST_F(InstanceBusTest, ACallThatComesBeforeItServesWaits)
{
    auto first = start();
    ASSERT_EQ(first->claim(std::nullopt).kind, Kind::First);
    auto error = std::async(std::launch::async, [this] { return act("annotate"); });
    ASSERT_TRUE(awaitCondition([this] { return isNameTaken(); }));
    serve(*first);
    EXPECT_EQ(turnUntilReady(error), "");
    EXPECT_THAT(asked, ElementsAre(RemoteVerb::Annotate));
}

TEST_F(InstanceBusTest, TheCallForWhichTheBusStartedItIsDone)
{
    // What the bus starts is only waited for: the name may come from anybody.
    const QByteArray started = QByteArray(testing::TempDir().c_str()) + "velmo-started-" +
                               QByteArray::number(QCoreApplication::applicationPid());
    ASSERT_TRUE(
        buses.offer(QByteArray::fromStdString(kName), "/bin/sh -c \"touch " + started + "; exec sleep 60\""));
    auto error = std::async(std::launch::async, [this] { return act("annotate"); });
    ASSERT_TRUE(awaitCondition([&] { return QFile::remove(QString::fromLatin1(started)); }));
    auto first = start();
    ASSERT_EQ(first->claim(std::nullopt).kind, Kind::First);
    serve(*first);
    EXPECT_EQ(turnUntilReady(error), "");
    EXPECT_THAT(asked, ElementsAre(RemoteVerb::Annotate));
}

TEST_F(InstanceBusTest, OnAnotherBusTheSameDisplayIsStillTaken)
{
    auto first = start();
    claimAndServe(*first);
    const PrivateBuses others;
    surroundings.busAddress = others.sessionAddress().toStdString();
    auto second = start();
    EXPECT_EQ(whileServing([&] { return second->claim(RemoteVerb::Annotate); }).kind, Kind::Answered);
    EXPECT_THAT(asked, ElementsAre(RemoteVerb::Annotate));
    EXPECT_FALSE(isNameTaken()) << "nothing is left on the other bus";
}

TEST_F(InstanceBusTest, WithoutAFolderTheNameIsThePlace)
{
    surroundings.runtimeFolder.clear();
    surroundings.temporaryFolder = "/dev/null";
    auto first = start();
    claimAndServe(*first);
    auto second = start();
    RemoteOutcome outcome = whileServing([&] { return second->claim(RemoteVerb::Annotate); });
    EXPECT_EQ(outcome.kind, Kind::Answered);
    EXPECT_EQ(outcome.processID, getpid());
    outcome = whileServing([&] { return second->claim(std::nullopt); });
    EXPECT_EQ(outcome.kind, Kind::Answered);
    outcome = whileServing([&] { return second->deliver(RemoteVerb::Cancel); });
    EXPECT_EQ(outcome.kind, Kind::Answered);
    EXPECT_THAT(asked, ElementsAre(RemoteVerb::Annotate, RemoteVerb::Ping, RemoteVerb::Cancel));
}

TEST_F(InstanceBusTest, AFolderThatTheOtherDoesNotSeeIsNoReasonToRunTwice)
{
    auto first = start();
    claimAndServe(*first);
    surroundings.runtimeFolder.clear();
    auto second = start();
    EXPECT_EQ(whileServing([&] { return second->claim(RemoteVerb::Settings); }).kind, Kind::Answered);
    EXPECT_EQ(start()->deliver(RemoteVerb::Ping).kind, Kind::Silent) << "nobody turns the loop";
}

TEST_F(InstanceBusTest, OnTwoDisplaysTheFirstHasTheNameUntilItEnds)
{
    auto first = start();
    claimAndServe(*first);
    surroundings.display = QStringLiteral(":6");
    auto second = start();
    ASSERT_EQ(whileServing([&] { return second->claim(RemoteVerb::Annotate); }).kind, Kind::First);
    EXPECT_THAT(asked, IsEmpty()) << "what is meant for one display is not done on another";
    std::vector<RemoteVerb> askedOfSecond;
    second->serve([&](RemoteVerb verb) {
        askedOfSecond.push_back(verb);
        return RemoteReply{};
    });
    EXPECT_EQ(act("annotate"), "");
    EXPECT_THAT(asked, ElementsAre(RemoteVerb::Annotate));
    auto command = start();
    EXPECT_EQ(whileServing([&] { return command->deliver(RemoteVerb::Cancel); }).kind, Kind::Answered);
    EXPECT_THAT(askedOfSecond, ElementsAre(RemoteVerb::Cancel));
    surroundings.display.clear();
    auto displayless = start();
    EXPECT_EQ(whileServing([&] { return displayless->deliver(RemoteVerb::Quit); }).kind, Kind::Answered);
    EXPECT_THAT(asked, ElementsAre(RemoteVerb::Annotate, RemoteVerb::Quit));

    first.reset();
    ASSERT_TRUE(awaitCondition([this] { return isNameTaken(); }));
    EXPECT_EQ(activate(), "");
    EXPECT_THAT(askedOfSecond, ElementsAre(RemoteVerb::Cancel, RemoteVerb::Settings));
}

TEST_F(InstanceBusTest, ABusThatGoesIsSaidAndTheSocketStays)
{
    auto first = start();
    claimAndServe(*first);
    QStringList problems;
    first->setProblemHandler([&](const QString& sentence) { problems.append(sentence); });
    kill(buses.sessionProcess(), SIGKILL);
    ASSERT_TRUE(awaitCondition([&] { return !problems.isEmpty(); }));
    EXPECT_EQ(problems, QStringList{QStringLiteral(
                            "The session bus is gone; Velmo can still be reached by its commands.")});
    auto second = start();
    EXPECT_EQ(whileServing([&] { return second->claim(RemoteVerb::Annotate); }).kind, Kind::Answered);
}

TEST_F(InstanceBusTest, ABusThatHangsHoldsTheStartUpOnlyForAMoment)
{
    kill(buses.sessionProcess(), SIGSTOP);
    auto first = start();
    const auto begin = Clock::now();
    claimAndServe(*first);
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(3));
    EXPECT_EQ(start()->claim(std::nullopt).kind, Kind::Answered);
    kill(buses.sessionProcess(), SIGCONT);
    ASSERT_TRUE(awaitCondition([this] { return isNameTaken(); })) << "the name comes when the bus answers";
    EXPECT_EQ(activate(), "");
}

TEST_F(InstanceBusTest, ABusThatHangsIsNotTakenForAVelmoThatDoes)
{
    kill(buses.sessionProcess(), SIGSTOP);
    EXPECT_EQ(start()->deliver(RemoteVerb::Cancel).kind, Kind::NobodyRuns);
    kill(buses.sessionProcess(), SIGCONT);
}

} // namespace
} // namespace velmo::test
