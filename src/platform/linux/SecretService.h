#pragma once

#include "core/Clock.h"
#include "core/Result.h"
#include "platform/linux/BusConnection.h"
#include "platform/linux/Interrupt.h"
#include "platform/linux/SecretMessages.h"

#include <functional>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace velmo {

/// One conversation with the Secret Service (the freedesktop.org interface that keyrings speak), over a
/// connection of its own, so that nothing is left of a service that was replaced. Any one thread, which waits
/// for each answer. Secrets are neither kept nor told to anybody else.
class SecretService {
public:
    template <typename T>
    using Answer = Result<T, SecretFault>;
    using Done = std::monostate;

    struct Found {
        std::vector<std::string> unlocked; ///< Paths of items.
        std::vector<std::string> locked;
    };

    /// What stands for no object.
    static inline const std::string kNone = "/";
    /// For an answer, or for several.
    static constexpr std::chrono::milliseconds kPatience{500};

    /// The interrupt, if any, ends whatever waits.
    explicit SecretService(const std::string& busAddress, const Interrupt* interrupt = nullptr);

    /// All that is asked from now on has kPatience together.
    void beginLimit() { end_ = Clock::now() + kPatience; }

    [[nodiscard]] Answer<Found> search(const SecretName& name);
    [[nodiscard]] Answer<std::string> secretOf(const std::string& item);
    [[nodiscard]] Answer<Done> setSecret(const std::string& item, const std::string& secret);

    /// kNone if there is none yet.
    [[nodiscard]] Answer<std::string> defaultCollection();
    [[nodiscard]] Answer<bool> isLocked(const std::string& collection);

    /// These give the prompt that the user has to answer first, or kNone.
    [[nodiscard]] Answer<std::string> createItem(const std::string& collection, const SecretName& name,
                                                 const std::string& secret);
    [[nodiscard]] Answer<std::string> createDefaultCollection();
    [[nodiscard]] Answer<std::string> unlock(const std::string& object);

    /// Shows the prompt and waits for the user, without a limit.
    [[nodiscard]] Answer<Done> awaitPrompt(const std::string& prompt);

private:
    using Reader = std::function<bool(BusMessage&)>;
    [[nodiscard]] Answer<Done> call(BusRequest request, const Reader& read);
    [[nodiscard]] Answer<std::string> callForPath(BusRequest request, const char* skipped);
    [[nodiscard]] Answer<Done> runUntil(const std::function<bool()>& isDone, Clock::TimePoint end);
    [[nodiscard]] Answer<std::string> session();

    const Interrupt* interrupt_;
    std::unique_ptr<BusConnection> bus_;
    Clock::TimePoint end_;
    std::string session_;
};

} // namespace velmo
