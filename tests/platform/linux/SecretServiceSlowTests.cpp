#include "support/keyring/ScriptedKeyringTest.h"

namespace velmo::test {

namespace {

using namespace std::chrono_literals;

/// Longer than any patience of the tests with a slow keyring.
constexpr auto kTooLong = 60s;
constexpr SecretPatience kShort{1s, std::nullopt};
constexpr SecretPatience kLong{kPatience, std::nullopt};

} // namespace

/// Keyrings that take their time, or answer with what nobody understands.
class SecretServiceSlowTest : public ScriptedKeyringTest {
protected:
    /// The answers that are held back come now.
    void beQuick() { keyring.stopDelaying(); }
};

TEST_F(SecretServiceSlowTest, AKeyringThatIsSlowButAnswersIsNotGivenUp)
{
    addItem(kItem, "value");
    answerAllAfter(400ms);
    use(kShort, kLong); // Less than three answers take.
    EXPECT_EQ(keychain->read(kService, kAccount).data, "value");
    EXPECT_EQ(keychain->availability(), Availability::Available);
}

TEST_F(SecretServiceSlowTest, AConversationHasAnEndHoweverManyAnswersThereAre)
{
    answerAllAfter(300ms);
    use({kPatience, 1s}, kLong);
    EXPECT_EQ(write("value"), Status::Unavailable);
    EXPECT_LE(keyring.countOf("ReadAlias"), 1) << "updating and adding are one conversation";
    EXPECT_EQ(keychain->availability(), Availability::Timeout);
}

TEST_F(SecretServiceSlowTest, ASecretThatWasSentIsConfirmedLate)
{
    addItem(kItem, "before");
    keyring.setManner("SetSecret", {.delay = kTooLong, .calls = 1});
    use(kShort, kLong);
    EXPECT_EQ(write("after"), Status::Pending) << "nobody knows whether it was stored";
    EXPECT_EQ(keyring.secretOf(kItem), "after");
    EXPECT_TRUE(lateWrites.empty());
    beQuick();
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::Success}}));
}

TEST_F(SecretServiceSlowTest, AnItemWhoseMakingTookTooLongIsNotMadeTwice)
{
    keyring.setManner("CreateItem", {.delay = kTooLong, .calls = 1});
    use(kShort, kLong);
    EXPECT_EQ(write("value"), Status::Pending);
    beQuick();
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::Success}}));
    EXPECT_EQ(keyring.itemCount(), 1U);
}

TEST_F(SecretServiceSlowTest, WhatIsNeverConfirmedIsNotCalledUnstored)
{
    addItem(kItem, "before");
    keyring.setManner("SetSecret", {.delay = kTooLong});
    use(kShort, kShort);
    EXPECT_EQ(write("after"), Status::Pending);
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::Unconfirmed}}));
}

TEST_F(SecretServiceSlowTest, AGarbledAnswerToAMadeItemIsNoRefusal)
{
    keyring.setManner("CreateItem", {.isGarbage = true, .calls = 1});
    EXPECT_EQ(write("value"), Status::Pending);
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::Success}}));
    EXPECT_EQ(keyring.itemCount(), 1U);
}

TEST_F(SecretServiceSlowTest, WhoeverWritesLateHasMorePatience)
{
    addCollection(KeyringScript::kMain, {.isLocked = true});
    addItem(kItem, "before");
    use(kShort, kLong);
    keyring.setManner("SetSecret", {.delay = 1500ms});
    EXPECT_EQ(write("after"), Status::Pending);
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::Success}}));
}

TEST_F(SecretServiceSlowTest, AKeyringThatHangsInALateWriteIsLeftAloneToo)
{
    addCollection(KeyringScript::kMain, {.isLocked = true});
    addItem(kItem, "before");
    keyring.setManner("Unlock", {.delay = kTooLong});
    use(kLong, kShort);
    EXPECT_EQ(write("after"), Status::Pending);
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::Unavailable}}));
    beQuick();
    const auto asked = keyring.countOf("ReadAlias");
    EXPECT_EQ(keychain->availability(), Availability::Timeout);
    EXPECT_EQ(keyring.countOf("ReadAlias"), asked);
    now += SecretServiceKeychain::kLeftAlone;
    EXPECT_NE(keychain->availability(), Availability::Timeout);
}

TEST_F(SecretServiceSlowTest, AnAnswerThatNobodyUnderstandsIsNotNothingFound)
{
    addItem(kItem, "before");
    keyring.setManner("SearchItems", {.isGarbage = true});
    EXPECT_EQ(readStatus(), Status::Unavailable);
    EXPECT_EQ(write("after"), Status::Unavailable);
    EXPECT_EQ(keyring.itemCount(), 1U);
    EXPECT_EQ(keyring.secretOf(kItem), "before");
}

TEST_F(SecretServiceSlowTest, ItemsWithoutEndAreNotRead)
{
    for (int index = 0; index <= 1000; ++index)
        addItem(KeyringScript::kMain + '/' + std::to_string(index), "value");
    EXPECT_EQ(readStatus(), Status::Unavailable);
    keyring.with([](KeyringScript& script) { script.items.pop_back(); });
    EXPECT_EQ(readStatus(), Status::Success);
}

TEST_F(SecretServiceSlowTest, AKeyringThatRefusesIsNotAbsent)
{
    for (const char* error :
         {"org.freedesktop.DBus.Error.AccessDenied", "org.freedesktop.DBus.Error.UnknownMethod"}) {
        keyring.setManner("ReadAlias", {.error = error});
        EXPECT_EQ(keychain->availability(), Availability::Refused) << error;
    }
    keyring.setManner("ReadAlias", {.isGarbage = true});
    EXPECT_EQ(keychain->availability(), Availability::Refused);
    EXPECT_EQ(write("value"), Status::Unavailable);
}

} // namespace velmo::test
