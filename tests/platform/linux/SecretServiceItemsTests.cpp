#include "support/keyring/ScriptedKeyringTest.h"

namespace velmo::test {

/// Several items for one key, several collections, and items that do not show.
class SecretServiceItemsTest : public ScriptedKeyringTest {};

TEST_F(SecretServiceItemsTest, AnItemOfTheDefaultCollectionCountsHoweverTheyAreListed)
{
    addCollection(KeyringScript::kOther, {});
    addItem(kItemElsewhere, "elsewhere");
    addItem(KeyringScript::kMain + "/2", "second");
    addItem(kItem, "first");
    EXPECT_EQ(keychain->read(kService, kAccount).data, "first");
    keyring.with([](KeyringScript& script) { std::swap(script.items.front(), script.items.back()); });
    EXPECT_EQ(keychain->read(kService, kAccount).data, "first");
}

TEST_F(SecretServiceItemsTest, WhereOneItemIsRefusedTheNextIsRead)
{
    addItem(kItem, "first");
    addItem(KeyringScript::kMain + "/2", "second");
    keyring.setManner("GetSecret", {.error = "org.freedesktop.DBus.Error.AccessDenied", .calls = 1});
    EXPECT_EQ(keychain->read(kService, kAccount).data, "second");
    keyring.setManner("GetSecret", {.error = "org.freedesktop.DBus.Error.AccessDenied"});
    EXPECT_EQ(readStatus(), Status::Unavailable);
}

TEST_F(SecretServiceItemsTest, AWriteGoesIntoEveryUnlockedItem)
{
    addCollection(KeyringScript::kOther, {});
    addItem(kItemElsewhere, "elsewhere");
    addItem(kItem, "before");
    EXPECT_EQ(write("after"), Status::Success);
    EXPECT_EQ(keyring.secretOf(kItem), "after");
    EXPECT_EQ(keyring.secretOf(kItemElsewhere), "after");
    EXPECT_EQ(keyring.itemCount(), 2U);
}

TEST_F(SecretServiceItemsTest, AnItemThatIsJustGoneHoldsNothingUp)
{
    addItem(kItem, "one");
    addItem(KeyringScript::kMain + "/2", "two");
    keyring.setManner("SetSecret", {.error = "org.freedesktop.DBus.Error.UnknownObject", .calls = 1});
    EXPECT_EQ(write("after"), Status::Success);
    EXPECT_EQ(keyring.secretOf(KeyringScript::kMain + "/2"), "after");
}

TEST_F(SecretServiceItemsTest, ClearingAsksForWhatIsLocked)
{
    addCollection(KeyringScript::kOther, {.isLocked = true});
    addItem(kItemElsewhere, "elsewhere");
    addItem(kItem, "before");
    willPrompt(Prompt::Accepts);
    EXPECT_EQ(keychain->update(kService, kAccount, ""), Status::Pending);
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::Success}}));
    EXPECT_EQ(keyring.secretOf(kItem), "");
    EXPECT_EQ(keyring.secretOf(kItemElsewhere), "");
}

TEST_F(SecretServiceItemsTest, AKeyThatIsSetDoesNotAskForWhatComesAfterIt)
{
    addCollection(KeyringScript::kOther, {.isLocked = true});
    addItem(kItemElsewhere, "elsewhere");
    addItem(kItem, "before");
    EXPECT_EQ(write("after"), Status::Success);
    EXPECT_EQ(keychain->read(kService, kAccount).data, "after");
    EXPECT_EQ(keyring.countOf("Unlock"), 0);
}

TEST_F(SecretServiceItemsTest, AKeyThatIsSetIsNotShadowedByALockedOne)
{
    addCollection(KeyringScript::kMain, {.isLocked = true});
    addCollection(KeyringScript::kOther, {});
    addItem(kItemElsewhere, "elsewhere");
    addItem(kItem, "before");
    EXPECT_EQ(keychain->read(kService, kAccount).data, "elsewhere");
    EXPECT_EQ(write("after"), Status::Pending);
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(keyring.secretOf(kItem), "after");
    EXPECT_EQ(keychain->read(kService, kAccount).data, "after");
}

TEST_F(SecretServiceItemsTest, WhatALockedCollectionHidesIsNotMissing)
{
    addCollection(KeyringScript::kMain, {.isLocked = true, .hidesItems = true});
    addItem(kItem, "hidden");
    EXPECT_EQ(readStatus(), Status::Unavailable);
    willPrompt(Prompt::Accepts);
    EXPECT_EQ(keychain->update(kService, kAccount, ""), Status::Pending);
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::Success}}));
    EXPECT_EQ(keyring.secretOf(kItem), "");
    EXPECT_EQ(keyring.itemCount(), 1U);
}

TEST_F(SecretServiceItemsTest, ClearingWhatIsNotBehindTheLockEitherMakesNothing)
{
    addCollection(KeyringScript::kMain, {.isLocked = true, .hidesItems = true});
    EXPECT_EQ(keychain->update(kService, kAccount, ""), Status::Pending);
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::ItemNotFound}}));
    EXPECT_EQ(keyring.itemCount(), 0U);
}

TEST_F(SecretServiceItemsTest, AKeyThatWasHiddenIsReplacedNotDoubled)
{
    addCollection(KeyringScript::kMain, {.isLocked = true, .hidesItems = true});
    addItem(kItem, "hidden");
    EXPECT_EQ(write("after"), Status::Pending);
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(keyring.secretOf(kItem), "after");
    EXPECT_EQ(keyring.itemCount(), 1U);
}

TEST_F(SecretServiceItemsTest, UnlockingThatChangesNothingIsNoSuccess)
{
    addCollection(KeyringScript::kMain, {.isLocked = true, .hidesItems = true});
    addItem(kItem, "hidden");
    keyring.with([](KeyringScript& script) { script.unlocks = false; });
    EXPECT_EQ(keychain->update(kService, kAccount, ""), Status::Pending);
    ASSERT_TRUE(awaitLateWrites(1));
    EXPECT_EQ(lateWrites, (std::vector<LateWrite>{{kAccount, Status::Unavailable}}));
}

TEST_F(SecretServiceItemsTest, AnAliasOfNothingIsNoCollection)
{
    keyring.with([](KeyringScript& script) { script.collections.clear(); });
    EXPECT_EQ(keychain->availability(), Availability::Available);
    EXPECT_EQ(readStatus(), Status::ItemNotFound);
}

} // namespace velmo::test
