#pragma once

#include "core/SettingsManager.h"
#include "widgets/FormSection.h"

#include <array>
#include <memory>

namespace velmo {

class APIKeyRow;
class CaptionRow;

/// The keys of the providers, and what there is to say about where they are kept. Main thread.
class APIKeySection final : public FormSection {
public:
    explicit APIKeySection(std::shared_ptr<SettingsManager> settings);

    /// The view appears: the key store is asked anew, and nothing is typed yet.
    void appear();
    /// The view disappears: what was typed is forgotten.
    void disappear();

private:
    /// What came of the latest write of a key.
    enum class Write { Done, Pending, Unconfirmed, NotSaved, NotCleared };
    struct Key {
        QString account;
        APIKeyRow* row = nullptr;
        Write write = Write::Done;
        bool isClearing = false; ///< What that write is for; the row may show the contrary meanwhile.
    };

    void add(Key& key, const QString& title, const QString& label);
    void store(Key& key, const QString& value);
    [[nodiscard]] static Write failureOf(const Key& key)
    {
        return key.isClearing ? Write::NotCleared : Write::NotSaved;
    }
    void finishLateWrite(const QString& account, Keychain::Status status);
    [[nodiscard]] bool isStored(const Key& key) const;
    [[nodiscard]] QString noteOn(const Key& key) const;
    void updateNotes();

    std::shared_ptr<SettingsManager> settings_;
    std::array<Key, 2> keys_;
    CaptionRow* storeRow_;

    Subscription lateWrites_;
};

} // namespace velmo
