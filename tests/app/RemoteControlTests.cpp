#include "app/RemoteControl.h"
#include "fakes/FakeApplicationInstance.h"
#include "support/core/EventLoop.h"
#include "support/core/LogLines.h"
#include "support/core/Printing.h"

#include <gmock/gmock.h>
#include <optional>
#include <string>
#include <vector>

namespace velmo {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RemoteControlTest : public testing::Test {
protected:
    RemoteControlTest()
    {
        control.emplace(instance, RemoteActions{
                                      .annotate = [this] { done.emplace_back("annotate"); },
                                      .openSettings = [this] { done.emplace_back("settings"); },
                                      .cancel = [this] { done.emplace_back("cancel"); },
                                      .quit = [this] { done.emplace_back("quit"); },
                                      .status = [] { return QStringLiteral("{}"); },
                                  });
    }

    LogLines log;
    FakeApplicationInstance instance;
    std::vector<std::string> done;
    std::optional<RemoteControl> control;
};

} // namespace

TEST_F(RemoteControlTest, DoesWhatIsAskedInOrderAndAfterTheAnswer)
{
    for (const RemoteVerb verb :
         {RemoteVerb::Annotate, RemoteVerb::Settings, RemoteVerb::Cancel, RemoteVerb::Quit})
        EXPECT_TRUE(instance.ask(verb).isAccepted);
    EXPECT_THAT(done, IsEmpty());
    ASSERT_TRUE(turnUntil([this] { return done.size() == 4; }));
    EXPECT_THAT(done, ElementsAre("annotate", "settings", "cancel", "quit"));
    EXPECT_EQ(log.take(),
              (QStringList{QStringLiteral("[Remote] annotate"), QStringLiteral("[Remote] settings"),
                           QStringLiteral("[Remote] cancel"), QStringLiteral("[Remote] quit")}));
}

TEST_F(RemoteControlTest, APingIsOnlyAnswered)
{
    EXPECT_TRUE(instance.ask(RemoteVerb::Ping).isAccepted);
    settle();
    EXPECT_THAT(done, IsEmpty());
}

TEST_F(RemoteControlTest, TheStatusIsTheAnswer)
{
    EXPECT_EQ(instance.ask(RemoteVerb::Status).text, QStringLiteral("{}"));
}

TEST_F(RemoteControlTest, WhatItIsToldToDoItselfGoesTheSameWay)
{
    control->perform(RemoteVerb::Annotate);
    EXPECT_THAT(done, IsEmpty());
    ASSERT_TRUE(turnUntil([this] { return !done.empty(); }));
    EXPECT_THAT(done, ElementsAre("annotate"));
}

TEST_F(RemoteControlTest, ProblemsOfTheInstanceAreLogged)
{
    instance.onProblem(QStringLiteral("The session bus is gone."));
    EXPECT_EQ(log.take(), QStringList{QStringLiteral("[Remote] The session bus is gone.")});
}

TEST_F(RemoteControlTest, AfterItsEndNothingIsDoneAnyMore)
{
    ASSERT_TRUE(instance.ask(RemoteVerb::Annotate).isAccepted);
    control.reset();
    settle();
    EXPECT_THAT(done, IsEmpty());
    const RemoteReply reply = instance.ask(RemoteVerb::Annotate);
    EXPECT_FALSE(reply.isAccepted);
    EXPECT_EQ(reply.text, QStringLiteral("Velmo is ending."));
}

} // namespace velmo
