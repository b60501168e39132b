#pragma once

#include "core/async/SerialQueue.h"
#include "platform/linux/SecretService.h"

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace velmo {

/// Writes secrets that first need the user to unlock the key store, or to create one. A thread of its own
/// asks and waits; a secret that was set again meanwhile is written as it was set last, and one that comes
/// while its predecessor is being written is written after it. Main thread, but for the handler.
class LateSecretWriter {
public:
    /// Called on the writer's thread.
    using Handler = std::function<void(const SecretName& name, bool isWritten)>;

    LateSecretWriter(std::string busAddress, Handler handler);
    LateSecretWriter(const LateSecretWriter&) = delete;
    LateSecretWriter& operator=(const LateSecretWriter&) = delete;
    /// Forgets what has not been written; the question to the user goes away with its asker.
    ~LateSecretWriter();

    void write(const SecretName& name, std::string secret);

    /// Whether a write of this one is still to come, or going on.
    [[nodiscard]] bool isWriting(const SecretName& name) const;

private:
    using Done = SecretService::Done;
    void run();
    [[nodiscard]] SecretService::Answer<Done> unlockFor(SecretService& service, const SecretName& name);
    [[nodiscard]] SecretService::Answer<Done> writeLatest(SecretService& service, const SecretName& name);
    [[nodiscard]] std::optional<SecretName> nextName();
    [[nodiscard]] std::string takeSecret(const SecretName& name);
    void finish(const SecretName& name, bool isWritten);
    void giveUp();

    const std::string busAddress_;
    const Handler handler_;
    const Interrupt interrupt_;
    mutable std::mutex mutex_; ///< Guards the next two.
    std::map<SecretName, std::string> pending_;
    std::optional<SecretName> current_;
    async::SerialQueue queue_{"velmo.keyring"};
};

} // namespace velmo
