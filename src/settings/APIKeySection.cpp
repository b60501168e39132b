#include "settings/APIKeySection.h"

#include "settings/APIKeyRow.h"
#include "widgets/CaptionRow.h"

#include <utility>

namespace velmo {

APIKeySection::APIKeySection(std::shared_ptr<SettingsManager> settings)
    : FormSection(QStringLiteral("API Keys"))
    , settings_(std::move(settings))
    , keys_{Key{KeychainAccount::Anthropic}, Key{KeychainAccount::OpenAI}}
    , storeRow_(new CaptionRow({}))
{
    add(keys_[0], QStringLiteral("Anthropic"), QStringLiteral("Anthropic API Key"));
    add(keys_[1], QStringLiteral("OpenAI"), QStringLiteral("OpenAI API Key"));
    storeRow_->hide();
    addRow(storeRow_);
    lateWrites_ = settings_->subscribeToLateWrites(
        [this](const QString& account, Keychain::Status status) { finishLateWrite(account, status); });
}

void APIKeySection::add(Key& key, const QString& title, const QString& label)
{
    key.row = new APIKeyRow(title, label);
    key.row->onSave = [this, &key] {
        const QString value = key.row->inputText();
        key.row->forgetInput();
        store(key, value);
    };
    // An empty item stays: its account is known to hold nothing.
    key.row->onClear = [this, &key] { store(key, QString()); };
    addRow(key.row);
}

/// The row shows what the user wanted, whatever came of it, until the view appears again or the keyring has
/// had its say later.
void APIKeySection::store(Key& key, const QString& value)
{
    key.isClearing = value.isEmpty();
    switch (settings_->keychainWrite(key.account, value)) {
    case Keychain::Status::Success:
        key.write = Write::Done;
        break;
    case Keychain::Status::Pending:
        key.write = Write::Pending;
        break;
    case Keychain::Status::Unconfirmed:
        key.write = Write::Unconfirmed;
        break;
    case Keychain::Status::ItemNotFound:
    case Keychain::Status::Unavailable:
    case Keychain::Status::Dismissed:
        key.write = failureOf(key);
        break;
    }
    key.row->setIsSet(!key.isClearing);
    updateNotes();
}

void APIKeySection::finishLateWrite(const QString& account, Keychain::Status status)
{
    for (Key& key : keys_) {
        if (key.account != account || key.write != Write::Pending)
            continue;
        // A key that is not there is as good as cleared.
        const bool isCleared = status == Keychain::Status::ItemNotFound && key.isClearing;
        if (status == Keychain::Status::Unconfirmed) {
            key.write = Write::Unconfirmed;
        } else if (status == Keychain::Status::Success || isCleared) {
            key.write = Write::Done;
            // The view may have appeared anew while the keyring was still locked.
            key.row->setIsSet(isStored(key));
        } else {
            // Long after the button: a tick beside the note would contradict it.
            key.write = failureOf(key);
            key.row->setIsSet(isStored(key));
        }
    }
    // The keyring that was unlocked for one key shows the others, too.
    for (const Key& key : keys_) {
        if (key.account != account && key.write == Write::Done && key.row->inputText().isEmpty())
            key.row->setIsSet(isStored(key));
    }
    updateNotes();
}

void APIKeySection::appear()
{
    for (Key& key : keys_) {
        key.row->forgetInput();
        key.row->setIsSet(isStored(key));
        if (key.write != Write::Pending)
            key.write = Write::Done;
    }
    updateNotes();
}

void APIKeySection::disappear()
{
    for (const Key& key : keys_)
        key.row->forgetInput();
}

bool APIKeySection::isStored(const Key& key) const
{
    const std::optional<QString> value = settings_->keychainRead(key.account);
    return value && !value->isEmpty();
}

QString APIKeySection::noteOn(const Key& key) const
{
    switch (key.write) {
    case Write::Pending:
        return settings_->keychainAvailability() == Keychain::Availability::Locked
                   ? QStringLiteral("Waiting for the keyring to be unlocked.")
                   : QStringLiteral("Waiting for the keyring.");
    case Write::Unconfirmed:
        return QStringLiteral("The keyring has not said whether it keeps the change.");
    case Write::NotSaved:
        return QStringLiteral("The key was not saved.");
    case Write::NotCleared:
        return QStringLiteral("The key was not cleared.");
    case Write::Done:
        break;
    }
    // The row knows already what the keyring holds; asking once more may take its time.
    if (key.row->isSet() || !SettingsManager::environmentHasKey(key.account))
        return {};
    return QStringLiteral("The key in the environment variable ") +
           SettingsManager::environmentKeyName(key.account) + QStringLiteral(" is used.");
}

void APIKeySection::updateNotes()
{
    for (const Key& key : keys_)
        key.row->setNote(noteOn(key));
    const Keychain::Availability availability = settings_->keychainAvailability();
    const bool isKept = availability == Keychain::Availability::Available;
    storeRow_->setText(isKept ? QString() : description(availability));
    storeRow_->setVisible(!isKept);
}

} // namespace velmo
