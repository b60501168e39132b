#pragma once

#include "core/Erase.h"
#include "core/async/SerialQueue.h"
#include "platform/linux/SecretService.h"

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace velmo {

/// A secret to write. Its text is erased from memory when it goes.
struct LateSecret {
    enum class IfMissing { Stays, IsAdded };

    LateSecret(std::string secret, IfMissing whenMissing)
        : text(std::move(secret))
        , ifMissing(whenMissing)
    {}
    LateSecret(LateSecret&&) noexcept = default;
    LateSecret& operator=(LateSecret&& other) noexcept
    {
        std::swap(text, other.text);
        ifMissing = other.ifMissing;
        wasSent = other.wasSent;
        return *this;
    }
    ~LateSecret() { erase(text); }

    std::string text;
    IfMissing ifMissing;  ///< What becomes of an item that is not there.
    bool wasSent = false; ///< Before, and nobody said what became of it.
};

/// Writes secrets that need the user to unlock the key store first, or to create one, and those whose writing
/// took longer than others can wait. A thread of its own asks and waits; a secret that was set again
/// meanwhile is written as it was set last, and one that comes while its predecessor is being written is
/// written after it. Main thread, but for the handler.
class LateSecretWriter {
public:
    /// Called on the writer's thread; without a fault it is written.
    using Handler = std::function<void(const SecretName& name, std::optional<SecretFault> fault)>;

    LateSecretWriter(std::string busAddress, SecretPatience patience, Handler handler);
    LateSecretWriter(const LateSecretWriter&) = delete;
    LateSecretWriter& operator=(const LateSecretWriter&) = delete;
    /// Forgets what has not been written; the question to the user goes away with its asker.
    ~LateSecretWriter();

    void write(const SecretName& name, LateSecret secret);

    /// Whether a write of this one is still to come, or going on.
    [[nodiscard]] bool isWriting(const SecretName& name) const;

private:
    using Done = SecretService::Done;
    void run();
    [[nodiscard]] SecretService::Answer<Done> unlockFor(SecretService& service, const SecretName& name);
    [[nodiscard]] SecretService::Answer<Done> writeLatest(SecretService& service, const SecretName& name);
    [[nodiscard]] SecretService::Answer<Done> await(SecretService& service,
                                                    const SecretService::Answer<std::string>& prompt);
    [[nodiscard]] std::optional<SecretName> nextName();
    /// Looks at the secret, which the main thread may replace afterwards.
    template <typename Function>
    auto look(const SecretName& name, Function function) const
    {
        const std::scoped_lock lock(mutex_);
        return function(pending_.at(name));
    }
    [[nodiscard]] LateSecret take(const SecretName& name);
    void finish(std::optional<SecretFault> fault);

    const std::string busAddress_;
    const SecretPatience patience_;
    const Handler handler_;
    const Interrupt interrupt_;
    mutable std::mutex mutex_; ///< Guards the next four.
    std::map<SecretName, LateSecret> pending_;
    std::optional<SecretName> current_;
    bool isTaken_ = false; ///< The current one, out of what is pending.
    bool wasSent_ = false; ///< The one that was taken, earlier.
    async::SerialQueue queue_{"velmo.keyring"};
};

} // namespace velmo
