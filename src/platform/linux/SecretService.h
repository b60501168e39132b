#pragma once

#include "core/Clock.h"
#include "core/Result.h"
#include "platform/linux/BusConnection.h"
#include "platform/linux/Interrupt.h"
#include "platform/linux/SecretItems.h"
#include "platform/linux/SecretMessages.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace velmo {

/// How long whoever keeps secrets may take to answer.
struct SecretPatience {
    std::chrono::milliseconds call;                        ///< Each question.
    std::optional<std::chrono::milliseconds> conversation; ///< All of them; without, as many as there are.
};

/// One conversation with the Secret Service (the freedesktop.org interface that keyrings speak), over a
/// connection of its own, so that nothing is left of a service that was replaced. Any one thread, which waits
/// for each answer. Secrets are neither kept nor told to anybody else.
class SecretService {
public:
    template <typename T>
    using Answer = Result<T, SecretFault>;
    using Done = std::monostate;

    /// Where new items go.
    struct Collection {
        std::string path = kNone;
        bool isLocked = false;
        [[nodiscard]] bool exists() const { return path != kNone; }
    };

    /// What stands for no object.
    static inline const std::string kNone = "/";

    /// It begins now. The interrupt, if any, ends whatever waits.
    SecretService(const std::string& busAddress, SecretPatience patience,
                  const Interrupt* interrupt = nullptr);

    /// In the order in which they count. Some keyrings find nothing in what is locked.
    [[nodiscard]] Answer<SecretItems> search(const SecretName& name);
    [[nodiscard]] Answer<std::string> secretOf(const std::string& item);
    /// Into each of them, but for those that have gone.
    [[nodiscard]] Answer<Done> setSecret(const std::vector<std::string>& items, const std::string& secret);

    [[nodiscard]] Answer<Collection> defaultCollection();

    /// These give the prompt that the user has to answer first, or kNone.
    [[nodiscard]] Answer<std::string> createItem(const std::string& collection, const SecretName& name,
                                                 const std::string& secret);
    [[nodiscard]] Answer<std::string> createDefaultCollection();
    [[nodiscard]] Answer<std::string> unlock(const std::vector<std::string>& objects);

    /// Shows the prompt and waits for the user, without a limit.
    [[nodiscard]] Answer<Done> awaitPrompt(const std::string& prompt);

private:
    using Reader = std::function<bool(BusMessage&)>;
    [[nodiscard]] Answer<Done> call(BusRequest request, const Reader& read);
    [[nodiscard]] Answer<std::string> callForPath(BusRequest request, const char* skipped);
    [[nodiscard]] Answer<Done> runUntil(const std::function<bool()>& isDone, Clock::TimePoint end);
    [[nodiscard]] Answer<std::string> session();
    [[nodiscard]] Answer<std::string> defaultPath();
    [[nodiscard]] Answer<bool> isLocked(const std::string& collection);

    const SecretPatience patience_;
    const Clock::TimePoint end_;
    const Interrupt* interrupt_;
    std::unique_ptr<BusConnection> bus_;
    std::string session_;
};

} // namespace velmo
