#include "support/keyring/ScriptedKeyringTest.h"

namespace velmo::test {

/// Writes that wait for the user.
class SecretServiceLateTest : public ScriptedKeyringTest {
protected:
    SecretServiceLateTest()
    {
        addCollection(KeyringScript::kMain, {.isLocked = true});
        addItem(kItem, "before");
        willPrompt(Prompt::Waits);
    }
    [[nodiscard]] bool awaitPrompt(long count = 1)
    {
        return awaitCondition([&] { return keyring.countOf("Prompt") == count; });
    }
};

TEST_F(SecretServiceLateTest, NobodyIsAskedForARead)
{
    EXPECT_EQ(readStatus(), Status::Unavailable);
    EXPECT_EQ(keychain->availability(), Availability::Locked) << "answered after all that was sent before";
    EXPECT_EQ(keyring.countOf("Unlock"), 0);
    EXPECT_EQ(keyring.countOf("Prompt"), 0);
}

TEST_F(SecretServiceLateTest, ManyWritesOfOneKeyHaveOneEnd)
{
    EXPECT_EQ(write("one"), Status::Pending);
    ASSERT_TRUE(awaitPrompt());
    for (const char* value : {"two", "three"})
        EXPECT_EQ(write(value), Status::Pending);
    keyring.answerPrompt(false);
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(keyring.secretOf(kItem), "three");
    EXPECT_EQ(write("four"), Status::Success) << "nothing goes on any more";
    QCoreApplication::processEvents();
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::Success}}));
}

TEST_F(SecretServiceLateTest, WhatIsSetWhileItsPredecessorIsBeingSentIsWrittenAfterIt)
{
    keyring.setManner("SetSecret", {.delay = std::chrono::minutes(1), .calls = 1});
    EXPECT_EQ(write("one"), Status::Pending);
    ASSERT_TRUE(awaitPrompt());
    keyring.answerPrompt(false);
    ASSERT_TRUE(awaitCondition([&] { return keyring.countOf("SetSecret") == 1; }));
    EXPECT_EQ(write("two"), Status::Pending);
    keyring.stopDelaying();
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(keyring.secretOf(kItem), "two");
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::Success}}));
}

TEST_F(SecretServiceLateTest, WhoeverDeclinesIsNotAskedForTheNextKey)
{
    EXPECT_EQ(write("one"), Status::Pending);
    ASSERT_TRUE(awaitPrompt());
    EXPECT_EQ(write("two", kOther), Status::Pending);
    keyring.answerPrompt(true);
    ASSERT_TRUE(awaitLateWrites(2));
    EXPECT_THAT(lateWrites, testing::UnorderedElementsAre(LateWrite{kAccount, Status::Dismissed},
                                                          LateWrite{kOther, Status::Dismissed}));
    EXPECT_EQ(keyring.countOf("Prompt"), 1);
    EXPECT_EQ(keyring.secretOf(kItem), "before");
}

TEST_F(SecretServiceLateTest, AKeyThatIsRefusedDoesNotTakeOthersWithIt)
{
    keyring.setManner("SetSecret", {.error = "org.freedesktop.DBus.Error.AccessDenied"});
    EXPECT_EQ(write("one"), Status::Pending);
    ASSERT_TRUE(awaitPrompt());
    EXPECT_EQ(write("two", kOther), Status::Pending);
    keyring.answerPrompt(false);
    ASSERT_TRUE(awaitLateWrites(2));
    EXPECT_THAT(lateWrites, testing::UnorderedElementsAre(LateWrite{kAccount, Status::Unavailable},
                                                          LateWrite{kOther, Status::Success}));
}

TEST_F(SecretServiceLateTest, ShuttingDownEndsTheQuestionThoughOthersHaveTheKeychain)
{
    const std::shared_ptr<Keychain> other = keychain;
    EXPECT_EQ(write("one"), Status::Pending);
    ASSERT_TRUE(awaitPrompt());
    keychain->shutDown(); // Would wait for the answer.
    QCoreApplication::processEvents();
    EXPECT_TRUE(lateWrites.empty()) << "nobody is called back after the end";
    EXPECT_EQ(other->write(kService, kAccount, "two"), Status::Unavailable);
    EXPECT_EQ(keyring.secretOf(kItem), "before");
    EXPECT_EQ(readStatus(), Status::Unavailable) << "it may still be asked, and is locked";
}

} // namespace velmo::test
