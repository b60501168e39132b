#include "support/keyring/KeyringTest.h"

namespace velmo::test {

class SecretServiceLockedTest : public KeyringTest {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(keyring.startUnlocked());
        ASSERT_EQ(keychain->add(kService, kAccount, "before"), Status::Success);
        ASSERT_TRUE(keyring.lock());
    }
};

TEST_F(SecretServiceLockedTest, ALockedKeyIsNoneAndNobodyIsAsked)
{
    keyring.willAnswer(PrivateKeyring::kPassword);
    EXPECT_EQ(keychain->read(kService, kAccount).status, Status::Unavailable);
    EXPECT_EQ(keychain->availability(), Availability::Locked);
    EXPECT_EQ(keychain->read(kService, kAccount).status, Status::Unavailable) << "still locked";
    // A question could still be on its way. The answer to it is there for the first one who really asks.
    EXPECT_EQ(keychain->update(kService, kAccount, "after"), Status::Pending);
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::Success}}));
}

TEST_F(SecretServiceLockedTest, AnUpdateIsWrittenWhenTheUserHasUnlocked)
{
    keyring.willAnswer(PrivateKeyring::kPassword);
    EXPECT_EQ(keychain->update(kService, kAccount, "after"), Status::Pending);
    EXPECT_TRUE(lateWrites.empty()) << "told on a later turn";
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::Success}}));
    EXPECT_TRUE(keyring.isAsked());
    EXPECT_EQ(valueOf(kAccount), "after");
}

TEST_F(SecretServiceLockedTest, ANewKeyIsAddedWhenTheUserHasUnlocked)
{
    keyring.willAnswer(PrivateKeyring::kPassword);
    EXPECT_EQ(keychain->write(kService, kOther, "new"), Status::Pending);
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kOther, Status::Success}}));
    EXPECT_EQ(valueOf(kOther), "new");
    EXPECT_EQ(valueOf(kAccount), "before");
}

TEST_F(SecretServiceLockedTest, OneAnswerServesAllKeysThatWait)
{
    keyring.willAnswer(PrivateKeyring::kPassword);
    keyring.holdAnswers();
    EXPECT_EQ(keychain->update(kService, kAccount, "one"), Status::Pending);
    EXPECT_EQ(keychain->add(kService, kOther, "two"), Status::Pending);
    keyring.giveAnswers();
    ASSERT_TRUE(awaitLateWrites(2));
    EXPECT_THAT(lateWrites, testing::UnorderedElementsAre(LateWrite{kAccount, Status::Success},
                                                          LateWrite{kOther, Status::Success}));
    EXPECT_EQ(valueOf(kAccount), "one");
    EXPECT_EQ(valueOf(kOther), "two");
}

TEST_F(SecretServiceLockedTest, WhatWasSetLastIsWrittenLast)
{
    keyring.willAnswer(PrivateKeyring::kPassword);
    keyring.holdAnswers();
    for (const char* value : {"one", "two", "three", "four"})
        EXPECT_EQ(keychain->update(kService, kAccount, value), Status::Pending);
    keyring.giveAnswers();
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(valueOf(kAccount), "four");
    EXPECT_EQ(keychain->update(kService, kAccount, "five"), Status::Success) << "nothing goes on any more";
    QCoreApplication::processEvents();
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::Success}}));
}

TEST_F(SecretServiceLockedTest, WhoeverDeclinesIsAskedOnceAndKeepsTheOldKey)
{
    keyring.willCancel();
    keyring.holdAnswers();
    EXPECT_EQ(keychain->update(kService, kAccount, "after"), Status::Pending);
    EXPECT_EQ(keychain->add(kService, kOther, "new"), Status::Pending);
    keyring.giveAnswers();
    ASSERT_TRUE(awaitLateWrites(2));
    EXPECT_THAT(lateWrites, testing::UnorderedElementsAre(LateWrite{kAccount, Status::Dismissed},
                                                          LateWrite{kOther, Status::Dismissed}));
    keyring.willAnswer(PrivateKeyring::kPassword);
    EXPECT_EQ(keychain->write(kService, kOther, "again"), Status::Pending) << "a later write asks anew";
    ASSERT_TRUE(awaitLateWrites(3));
    EXPECT_EQ(valueOf(kAccount), "before");
    EXPECT_EQ(valueOf(kOther), "again");
}

TEST_F(SecretServiceLockedTest, AKeyringThatEndsWhileItAsksEndsTheWrite)
{
    keyring.willNeverAnswer();
    EXPECT_EQ(keychain->update(kService, kAccount, "after"), Status::Pending);
    ASSERT_TRUE(awaitCondition([this] { return keyring.isAsked(); }));
    keyring.daemon().stop();
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::Unavailable}}));
}

TEST_F(SecretServiceLockedTest, TheEndDoesNotWaitForAnAnswer)
{
    keyring.willNeverAnswer();
    EXPECT_EQ(keychain->update(kService, kAccount, "after"), Status::Pending);
    ASSERT_TRUE(awaitCondition([this] { return keyring.isAsked(); }));
    keychain.reset(); // Would wait for an hour.
    QCoreApplication::processEvents();
    EXPECT_TRUE(lateWrites.empty()) << "nobody is called back by what is gone";
}

class SecretServiceEmptyTest : public KeyringTest {
protected:
    void SetUp() override { ASSERT_TRUE(keyring.startWithoutPassword()); }
};

TEST_F(SecretServiceEmptyTest, TheFirstKeyAsksForAKeyring)
{
    keyring.willAnswer(PrivateKeyring::kPassword);
    EXPECT_EQ(keychain->availability(), Availability::Available);
    EXPECT_EQ(keychain->read(kService, kAccount).status, Status::ItemNotFound);
    EXPECT_EQ(keychain->update(kService, kAccount, "value"), Status::ItemNotFound);
    EXPECT_TRUE(keyring.isUnasked());
    EXPECT_EQ(keychain->add(kService, kAccount, "value"), Status::Pending);
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::Success}}));
    EXPECT_EQ(valueOf(kAccount), "value");
}

} // namespace velmo::test
