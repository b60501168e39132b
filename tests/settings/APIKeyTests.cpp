#include "support/settings/SettingsTest.h"

namespace velmo {
namespace {

class APIKeyTest : public SettingsTest {
protected:
    static inline const QString kSave = QStringLiteral("Save");
    static inline const QString kClear = QStringLiteral("Clear");

    [[nodiscard]] QString itemName(const QString& account) const
    {
        return FakeKeychain::name(settings->keychainService, account);
    }
    void endLateWrite(const QString& account, Keychain::Status status) const
    {
        keychain->onLateWrite(account, status);
        settle();
    }
};

TEST_F(APIKeyTest, EachRowSavesUnderItsOwnAccount)
{
    type(field(0), QStringLiteral("first"));
    inRow(0, kSave).click();
    type(field(1), QStringLiteral("second"));
    inRow(1, kSave).click();
    EXPECT_EQ(stored(KeychainAccount::Anthropic), QStringLiteral("first"));
    EXPECT_EQ(stored(KeychainAccount::OpenAI), QStringLiteral("second"));
    EXPECT_FALSE(keychain->items.contains(itemName(KeychainAccount::Replicate)));
}

TEST_F(APIKeyTest, SavingEmptiesTheFieldAndShowsTheKeyAsSet)
{
    type(field(0), QStringLiteral("sk-1"));
    EXPECT_FALSE(row(0).isSet());
    inRow(0, kSave).click();
    EXPECT_TRUE(row(0).isSet());
    EXPECT_FALSE(row(1).isSet());
    EXPECT_EQ(field(0).text(), QString());
    EXPECT_FALSE(field(0).isVisible());
    EXPECT_TRUE(inRow(0, kClear).isVisible());
    EXPECT_TRUE(shows(QStringLiteral("•••  •••  •••")));
}

TEST_F(APIKeyTest, AKeyIsStoredAsTyped)
{
    type(field(0), QStringLiteral("  k y "));
    inRow(0, kSave).click();
    EXPECT_EQ(stored(KeychainAccount::Anthropic), QStringLiteral("  k y "));
}

TEST_F(APIKeyTest, ASpaceIsAKey)
{
    type(field(0), QStringLiteral(" "));
    inRow(0, kSave).click();
    reopen();
    EXPECT_TRUE(row(0).isSet());
}

TEST_F(APIKeyTest, ReturnAndEnterSave)
{
    type(field(0), QStringLiteral("a"));
    press(Qt::Key_Return);
    type(field(1), QStringLiteral("b"));
    press(Qt::Key_Enter);
    EXPECT_EQ(stored(KeychainAccount::Anthropic), QStringLiteral("a"));
    EXPECT_EQ(stored(KeychainAccount::OpenAI), QStringLiteral("b"));
}

TEST_F(APIKeyTest, ReturnInAnEmptyFieldDoesNothing)
{
    field(0).setFocus();
    press(Qt::Key_Return);
    EXPECT_FALSE(row(0).isSet());
    EXPECT_TRUE(keychain->items.isEmpty());
}

TEST_F(APIKeyTest, SaveIsThereOnceSomethingIsTyped)
{
    EXPECT_FALSE(inRow(0, kSave).isEnabled());
    type(field(0), QStringLiteral("x"));
    EXPECT_TRUE(inRow(0, kSave).isEnabled());
    EXPECT_FALSE(inRow(1, kSave).isEnabled());
    press(Qt::Key_Backspace);
    EXPECT_FALSE(inRow(0, kSave).isEnabled());
}

TEST_F(APIKeyTest, ClearWritesAnEmptyItemAndDeletesNone)
{
    put(KeychainAccount::Anthropic, "sk-1");
    reopen();
    inRow(0, kClear).click();
    EXPECT_FALSE(row(0).isSet());
    EXPECT_TRUE(field(0).isVisible());
    ASSERT_TRUE(keychain->items.contains(itemName(KeychainAccount::Anthropic)));
    EXPECT_EQ(keychain->items.value(itemName(KeychainAccount::Anthropic)), QByteArray());
    reopen();
    EXPECT_FALSE(row(0).isSet());
}

TEST_F(APIKeyTest, RowsAreReadWheneverTheViewAppears)
{
    put(KeychainAccount::OpenAI, "sk-2");
    EXPECT_FALSE(row(1).isSet());
    reopen();
    EXPECT_TRUE(row(1).isSet());
    EXPECT_FALSE(row(0).isSet());
    keychain->items.clear();
    EXPECT_TRUE(row(1).isSet());
    reopen();
    EXPECT_FALSE(row(1).isSet());
}

TEST_F(APIKeyTest, TheOtherTabMakesTheViewAppearAnew)
{
    type(field(0), QStringLiteral("half a key"));
    put(KeychainAccount::OpenAI, "sk-2");
    settings->settingsSelectedTab.set(1);
    settle();
    settings->settingsSelectedTab.set(0);
    settle();
    EXPECT_EQ(field(0).text(), QString());
    EXPECT_TRUE(row(1).isSet());
}

TEST_F(APIKeyTest, WhatWasTypedIsForgottenWhenTheWindowCloses)
{
    type(field(0), QStringLiteral("half a key"));
    view->close();
    EXPECT_EQ(field(0).text(), QString());
    show();
    EXPECT_FALSE(inRow(0, kSave).isEnabled());
}

TEST_F(APIKeyTest, StoredKeysNeverComeIntoTheFields)
{
    put(KeychainAccount::Anthropic, "sk-1");
    reopen();
    EXPECT_EQ(field(0).text(), QString());
    EXPECT_EQ(row(0).inputText(), QString());
}

TEST_F(APIKeyTest, AFailedWriteShowsAsSetUntilTheViewAppearsAgain)
{
    keychain->isAvailable = false;
    type(field(0), QStringLiteral("sk-1"));
    inRow(0, kSave).click();
    EXPECT_TRUE(row(0).isSet());
    EXPECT_TRUE(shows(QStringLiteral("The key was not saved.")));
    EXPECT_TRUE(shows(description(Keychain::Availability::NoService)));
    reopen();
    EXPECT_FALSE(row(0).isSet());
    EXPECT_FALSE(shows(QStringLiteral("The key was not saved.")));
}

TEST_F(APIKeyTest, AFailureToClearIsToldToo)
{
    put(KeychainAccount::Anthropic, "sk-1");
    reopen();
    keychain->writeOutcome = Keychain::Status::Unavailable;
    inRow(0, kClear).click();
    EXPECT_FALSE(row(0).isSet());
    EXPECT_TRUE(shows(QStringLiteral("The key was not cleared.")));
    reopen();
    EXPECT_TRUE(row(0).isSet());
    EXPECT_FALSE(shows(QStringLiteral("The key was not cleared.")));
}

TEST_F(APIKeyTest, ALaterSuccessTakesTheWordOfTheFailureBack)
{
    keychain->isAvailable = false;
    type(field(0), QStringLiteral("sk-1"));
    inRow(0, kSave).click();
    keychain->isAvailable = true;
    inRow(0, kClear).click();
    EXPECT_FALSE(shows(QStringLiteral("The key was not saved.")));
    EXPECT_FALSE(shows(description(Keychain::Availability::NoService)));
}

TEST_F(APIKeyTest, SaysWhileTheKeyringIsBeingUnlocked)
{
    keychain->whenAvailable = Keychain::Availability::Locked;
    keychain->writeOutcome = Keychain::Status::Pending;
    reopen();
    EXPECT_TRUE(shows(description(Keychain::Availability::Locked)));
    type(field(0), QStringLiteral("sk-1"));
    inRow(0, kSave).click();
    EXPECT_TRUE(row(0).isSet());
    EXPECT_TRUE(shows(QStringLiteral("Waiting for the keyring to be unlocked.")));

    // The other key's write is not this one's.
    endLateWrite(KeychainAccount::OpenAI, Keychain::Status::Success);
    EXPECT_TRUE(shows(QStringLiteral("Waiting for the keyring to be unlocked.")));

    put(KeychainAccount::Anthropic, "sk-1");
    keychain->whenAvailable = Keychain::Availability::Available;
    endLateWrite(KeychainAccount::Anthropic, Keychain::Status::Success);
    EXPECT_TRUE(row(0).isSet());
    EXPECT_FALSE(shows(QStringLiteral("Waiting for the keyring to be unlocked.")));
    EXPECT_FALSE(shows(description(Keychain::Availability::Locked)));
}

TEST_F(APIKeyTest, SaysThatItWaitsForAKeyringThatNeedsNoUnlocking)
{
    keychain->writeOutcome = Keychain::Status::Pending;
    type(field(0), QStringLiteral("sk-1"));
    inRow(0, kSave).click();
    EXPECT_TRUE(row(0).isSet());
    EXPECT_TRUE(shows(QStringLiteral("Waiting for the keyring.")));
    EXPECT_FALSE(shows(QStringLiteral("Waiting for the keyring to be unlocked.")));
    put(KeychainAccount::Anthropic, "sk-1");
    endLateWrite(KeychainAccount::Anthropic, Keychain::Status::Success);
    EXPECT_TRUE(row(0).isSet());
    EXPECT_FALSE(shows(QStringLiteral("Waiting for the keyring.")));
}

TEST_F(APIKeyTest, SaysThatAWriteWasNotConfirmedUntilTheViewAppearsAgain)
{
    const QString note = QStringLiteral("The keyring has not said whether it keeps the change.");
    keychain->writeOutcome = Keychain::Status::Unconfirmed;
    type(field(0), QStringLiteral("sk-1"));
    inRow(0, kSave).click();
    EXPECT_TRUE(row(0).isSet());
    EXPECT_TRUE(shows(note));
    EXPECT_FALSE(shows(QStringLiteral("The key was not saved.")));
    reopen();
    EXPECT_FALSE(shows(note));
}

TEST_F(APIKeyTest, SaysThatALateWriteWasNotConfirmed)
{
    const QString note = QStringLiteral("The keyring has not said whether it keeps the change.");
    keychain->writeOutcome = Keychain::Status::Pending;
    type(field(0), QStringLiteral("sk-1"));
    inRow(0, kSave).click();
    EXPECT_FALSE(shows(note));
    endLateWrite(KeychainAccount::Anthropic, Keychain::Status::Unconfirmed);
    EXPECT_TRUE(row(0).isSet());
    EXPECT_TRUE(shows(note));
    EXPECT_FALSE(shows(QStringLiteral("Waiting for the keyring.")));
}

TEST_F(APIKeyTest, SaysThatTheUserDeclinedToUnlock)
{
    keychain->whenAvailable = Keychain::Availability::Locked;
    keychain->writeOutcome = Keychain::Status::Pending;
    type(field(0), QStringLiteral("sk-1"));
    inRow(0, kSave).click();
    ASSERT_TRUE(shows(QStringLiteral("Waiting for the keyring to be unlocked.")));
    endLateWrite(KeychainAccount::Anthropic, Keychain::Status::Unavailable);
    EXPECT_FALSE(row(0).isSet()) << "a tick would contradict what is said";
    EXPECT_FALSE(shows(QStringLiteral("Waiting for the keyring to be unlocked.")));
    EXPECT_TRUE(shows(QStringLiteral("The key was not saved.")));
}

TEST_F(APIKeyTest, AKeyringThatWasUnlockedForOneKeyShowsTheOther)
{
    keychain->whenAvailable = Keychain::Availability::Locked;
    keychain->writeOutcome = Keychain::Status::Pending;
    type(field(0), QStringLiteral("sk-1"));
    inRow(0, kSave).click();
    ASSERT_FALSE(row(1).isSet());
    keychain->items.insert(FakeKeychain::name(settings->keychainService, KeychainAccount::OpenAI), "sk-2");
    endLateWrite(KeychainAccount::Anthropic, Keychain::Status::Success);
    EXPECT_TRUE(row(1).isSet());
}

TEST_F(APIKeyTest, WhatIsBeingTypedInAnotherRowStaysWhenTheKeyringIsUnlocked)
{
    keychain->writeOutcome = Keychain::Status::Pending;
    type(field(0), QStringLiteral("sk-1"));
    inRow(0, kSave).click();
    type(field(1), QStringLiteral("sk-other"));
    keychain->items.insert(FakeKeychain::name(settings->keychainService, KeychainAccount::OpenAI), "sk-2");
    endLateWrite(KeychainAccount::Anthropic, Keychain::Status::Success);
    EXPECT_FALSE(row(1).isSet());
    EXPECT_EQ(row(1).inputText(), QStringLiteral("sk-other"));
}

TEST_F(APIKeyTest, AWindowThatWasReopenedMeanwhileLearnsOfTheLateKey)
{
    keychain->whenAvailable = Keychain::Availability::Locked;
    keychain->writeOutcome = Keychain::Status::Pending;
    type(field(0), QStringLiteral("sk-1"));
    inRow(0, kSave).click();
    reopen();
    EXPECT_FALSE(row(0).isSet());
    EXPECT_TRUE(shows(QStringLiteral("Waiting for the keyring to be unlocked.")));
    put(KeychainAccount::Anthropic, "sk-1");
    endLateWrite(KeychainAccount::Anthropic, Keychain::Status::Success);
    EXPECT_TRUE(row(0).isSet());
}

TEST_F(APIKeyTest, ALateFailureToSaveIsToldToAWindowThatWasReopened)
{
    keychain->writeOutcome = Keychain::Status::Pending;
    type(field(0), QStringLiteral("sk-1"));
    inRow(0, kSave).click();
    reopen();
    endLateWrite(KeychainAccount::Anthropic, Keychain::Status::Dismissed);
    EXPECT_FALSE(row(0).isSet());
    EXPECT_TRUE(shows(QStringLiteral("The key was not saved.")));
    EXPECT_FALSE(shows(QStringLiteral("The key was not cleared.")));
}

TEST_F(APIKeyTest, ALateFailureToClearIsToldToAWindowThatWasReopened)
{
    put(KeychainAccount::Anthropic, "sk-1");
    reopen();
    keychain->writeOutcome = Keychain::Status::Pending;
    inRow(0, kClear).click();
    reopen();
    endLateWrite(KeychainAccount::Anthropic, Keychain::Status::Dismissed);
    EXPECT_TRUE(row(0).isSet());
    EXPECT_TRUE(shows(QStringLiteral("The key was not cleared.")));
    EXPECT_FALSE(shows(QStringLiteral("The key was not saved.")));
}

TEST_F(APIKeyTest, AKeyThatVanishedBeforeItWasClearedIsCleared)
{
    put(KeychainAccount::Anthropic, "sk-1");
    reopen();
    keychain->writeOutcome = Keychain::Status::Pending;
    inRow(0, kClear).click();
    reopen();
    keychain->items.clear();
    endLateWrite(KeychainAccount::Anthropic, Keychain::Status::ItemNotFound);
    EXPECT_FALSE(row(0).isSet());
    EXPECT_FALSE(shows(QStringLiteral("The key was not cleared.")));
}

TEST_F(APIKeyTest, ALateWriteMayEndAfterTheWindowIsGone)
{
    keychain->writeOutcome = Keychain::Status::Pending;
    type(field(0), QStringLiteral("sk-1"));
    inRow(0, kSave).click();
    view.reset();
    endLateWrite(KeychainAccount::Anthropic, Keychain::Status::Success);
}

TEST_F(APIKeyTest, TheKeyringIsAskedOnceForEachKey)
{
    keychain->calls.clear();
    const EnvironmentVariable key("ANTHROPIC_API_KEY", "key");
    settings->settingsSelectedTab.set(1);
    settle();
    settings->settingsSelectedTab.set(0);
    settle();
    EXPECT_EQ(keychain->calls.size(), 2) << keychain->calls.join(u'\n').toStdString();
}

TEST_F(APIKeyTest, NamesTheVariableThatSuppliesAKey)
{
    const EnvironmentVariable key("OPENAI_API_KEY", "sk-env");
    const QString note = QStringLiteral("The key in the environment variable OPENAI_API_KEY is used.");
    reopen();
    EXPECT_FALSE(row(1).isSet());
    EXPECT_TRUE(shows(note));
    type(field(1), QStringLiteral("mine"));
    inRow(1, kSave).click();
    EXPECT_FALSE(shows(note));
    inRow(1, kClear).click();
    EXPECT_TRUE(shows(note));
    EXPECT_FALSE(shows(QStringLiteral("The key in the environment variable ANTHROPIC_API_KEY is used.")));
}

TEST_F(APIKeyTest, SaysWhyNoKeyCanBeKept)
{
    EXPECT_FALSE(shows(description(Keychain::Availability::Available)));
    for (const auto availability : {Keychain::Availability::NoBus, Keychain::Availability::Timeout,
                                    Keychain::Availability::Locked, Keychain::Availability::NoService}) {
        keychain->whenAvailable = availability;
        reopen();
        EXPECT_TRUE(shows(description(availability)));
    }
    keychain->whenAvailable = Keychain::Availability::Available;
    reopen();
    EXPECT_FALSE(shows(description(Keychain::Availability::NoService)));
}

TEST_F(APIKeyTest, NotesMakeRoomForThemselves)
{
    const int before = row(0).height();
    EXPECT_EQ(before, 44);
    const EnvironmentVariable key("ANTHROPIC_API_KEY", "sk-env");
    reopen();
    EXPECT_GT(row(0).height(), before);
    EXPECT_EQ(row(1).height(), before);
    EXPECT_EQ(row(1).y(), row(0).y() + row(0).height());
}

} // namespace
} // namespace velmo
