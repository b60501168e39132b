#pragma once

#include "platform/HttpClient.h"
#include "platform/Keychain.h"
#include "platform/linux/JsonFileDefaults.h"

#include <memory>

namespace velmo {

/// What every verb that asks a model stands on: settings, keys and the HTTP client. Create it after the
/// application object; its destructor ends everything that still runs, in the right order.
class Services {
public:
    /// Who waits while the keyring is asked.
    enum class Waiting {
        Interface,
        CommandLine,
        Survey, ///< Somebody who wants to know how everything fares, soon.
    };

    /// The keyring, unless the user keeps the program from it.
    [[nodiscard]] static std::shared_ptr<Keychain> makeKeychain(Waiting waiting);

    explicit Services(Waiting waiting);
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;
    ~Services();

    [[nodiscard]] JsonFileDefaults& defaults() { return *defaults_; }
    [[nodiscard]] Keychain& keychain() { return *keychain_; }
    /// The program's one client, from the first use on.
    [[nodiscard]] const std::shared_ptr<HttpClient>& http();

private:
    std::shared_ptr<JsonFileDefaults> defaults_ = std::make_shared<JsonFileDefaults>();
    std::shared_ptr<Keychain> keychain_;
    std::shared_ptr<HttpClient> http_;
};

} // namespace velmo
