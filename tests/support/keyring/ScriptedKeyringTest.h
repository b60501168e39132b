#pragma once

#include "platform/linux/SecretServiceKeychain.h"
#include "support/accessibility/PrivateBuses.h"
#include "support/keyring/ScriptedKeyring.h"
#include "support/x11/Await.h"

#include <gmock/gmock.h>
#include <memory>
#include <vector>

namespace velmo::test {

/// A keychain on a keyring that does as it is told. Its clock stands still until the test moves it.
class ScriptedKeyringTest : public testing::Test {
protected:
    using Status = Keychain::Status;
    using Availability = Keychain::Availability;
    using Manner = KeyringScript::Manner;
    using Prompt = KeyringScript::Prompt;

    static inline const QString kService = QStringLiteral("app.velmo.Velmo");
    static inline const QString kAccount = QStringLiteral("apiKey.anthropic");
    static inline const QString kOther = QStringLiteral("apiKey.openai");
    static inline const std::string kItem = KeyringScript::kMain + "/1";
    static inline const std::string kItemElsewhere = KeyringScript::kOther + "/1";

    struct LateWrite {
        QString account;
        Status status;
        friend bool operator==(const LateWrite&, const LateWrite&) = default;
    };

    ScriptedKeyringTest() { use({kPatience, std::nullopt}, {kPatience, std::nullopt}); }

    /// From now on the keychain has this patience.
    void use(SecretPatience patience, SecretPatience latePatience)
    {
        keychain = std::make_shared<SecretServiceKeychain>(
            buses.sessionAddress().toStdString(),
            SecretServiceKeychain::Options{patience, latePatience, [this] { return now; }});
        keychain->onLateWrite = [this](const QString& account, Status status) {
            lateWrites.push_back({account, status});
        };
    }

    void addItem(const std::string& path, const std::string& secret, const QString& account = kAccount)
    {
        keyring.addItem(path, account.toStdString(), secret);
    }
    void addCollection(const std::string& path, const KeyringScript::Collection& collection)
    {
        keyring.with([&](KeyringScript& script) { script.collections[path] = collection; });
    }
    void willPrompt(Prompt prompt)
    {
        keyring.with([&](KeyringScript& script) { script.prompt = prompt; });
    }
    void answerAllAfter(std::chrono::milliseconds delay)
    {
        for (const char* method : {"OpenSession", "SearchItems", "GetSecret", "SetSecret", "ReadAlias", "Get",
                                   "CreateItem", "Unlock", "Prompt"})
            keyring.setManner(method, {.delay = delay});
    }

    [[nodiscard]] Status readStatus() { return keychain->read(kService, kAccount).status; }
    [[nodiscard]] Status write(const QByteArray& value, const QString& account = kAccount)
    {
        return keychain->write(kService, account, value);
    }
    [[nodiscard]] bool awaitLateWrites(size_t count)
    {
        return awaitCondition([&] { return lateWrites.size() >= count; });
    }

    PrivateBuses buses;
    ScriptedKeyring keyring{buses.sessionAddress().toStdString()};
    Clock::TimePoint now = Clock::now();
    std::vector<LateWrite> lateWrites;
    std::shared_ptr<SecretServiceKeychain> keychain;
};

} // namespace velmo::test
