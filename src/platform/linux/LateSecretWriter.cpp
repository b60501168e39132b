#include "platform/linux/LateSecretWriter.h"

#include <utility>
#include <vector>

namespace velmo {
namespace {

/// Whether all other secrets would fare the same. Whoever does not want to be asked is not asked again for
/// the next key.
bool isOfAll(SecretFault fault)
{
    return fault == SecretFault::Dismissed || fault == SecretFault::NoBus ||
           fault == SecretFault::NoService || fault == SecretFault::Interrupted;
}

} // namespace

LateSecretWriter::LateSecretWriter(std::string busAddress, SecretPatience patience, Handler handler)
    : busAddress_(std::move(busAddress))
    , patience_(patience)
    , handler_(std::move(handler))
{}

LateSecretWriter::~LateSecretWriter()
{
    interrupt_.request();
}

void LateSecretWriter::write(const SecretName& name, LateSecret secret)
{
    {
        const std::scoped_lock lock(mutex_);
        const auto earlier = pending_.find(name);
        if (earlier == pending_.end()) {
            pending_.emplace(name, std::move(secret));
        } else {
            // What would have been added is there to be replaced afterwards.
            if (earlier->second.ifMissing == LateSecret::IfMissing::IsAdded)
                secret.ifMissing = LateSecret::IfMissing::IsAdded;
            secret.wasSent = secret.wasSent || earlier->second.wasSent;
            earlier->second = std::move(secret);
        }
    }
    queue_.async([this] { run(); });
}

bool LateSecretWriter::isWriting(const SecretName& name) const
{
    const std::scoped_lock lock(mutex_);
    return pending_.contains(name) || current_ == name;
}

void LateSecretWriter::run()
{
    while (const auto name = nextName()) {
        SecretService service(busAddress_, patience_, &interrupt_);
        auto outcome = unlockFor(service, *name);
        if (outcome)
            outcome = writeLatest(service, *name);
        finish(outcome ? std::nullopt : std::optional(outcome.error()));
    }
}

SecretService::Answer<LateSecretWriter::Done> LateSecretWriter::unlockFor(SecretService& service,
                                                                          const SecretName& name)
{
    const auto items = service.search(name);
    if (!items)
        return Failure{items.error()};
    if (!items.value().isEmpty()) {
        const bool isAsked = look(
            name, [&](const LateSecret& secret) { return items.value().mustBeUnlockedFor(secret.text); });
        return isAsked ? await(service, service.unlock(items.value().locked)) : Done{};
    }
    const auto collection = service.defaultCollection();
    if (!collection)
        return Failure{collection.error()};
    if (collection.value().isLocked)
        return await(service, service.unlock({collection.value().path}));
    const bool isAdded = look(
        name, [](const LateSecret& secret) { return secret.ifMissing == LateSecret::IfMissing::IsAdded; });
    return isAdded && !collection.value().exists() ? await(service, service.createDefaultCollection())
                                                   : Done{};
}

SecretService::Answer<LateSecretWriter::Done> LateSecretWriter::writeLatest(SecretService& service,
                                                                            const SecretName& name)
{
    // Some key stores find an item only when it is unlocked, and the user had time to make one.
    const auto items = service.search(name);
    if (!items)
        return Failure{items.error()};
    if (!items.value().isEmpty()) {
        const LateSecret secret = take(name);
        return items.value().mustBeUnlockedFor(secret.text)
                   ? SecretService::Answer<Done>(Failure{SecretFault::IsLocked})
                   : service.setSecret(items.value().unlocked, secret.text);
    }
    const auto collection = service.defaultCollection();
    if (!collection)
        return Failure{collection.error()};
    const LateSecret secret = take(name);
    if (collection.value().isLocked)
        return Failure{SecretFault::IsLocked};
    if (secret.ifMissing == LateSecret::IfMissing::Stays)
        return Failure{SecretFault::NoObject};
    return await(service, service.createItem(collection.value().path, name, secret.text));
}

SecretService::Answer<LateSecretWriter::Done>
LateSecretWriter::await(SecretService& service, const SecretService::Answer<std::string>& prompt)
{
    if (!prompt)
        return Failure{prompt.error()};
    return prompt.value() == SecretService::kNone ? Done{} : service.awaitPrompt(prompt.value());
}

std::optional<SecretName> LateSecretWriter::nextName()
{
    const std::scoped_lock lock(mutex_);
    current_ = pending_.empty() ? std::nullopt : std::optional(pending_.begin()->first);
    isTaken_ = false;
    wasSent_ = false;
    return current_;
}

LateSecret LateSecretWriter::take(const SecretName& name)
{
    const std::scoped_lock lock(mutex_);
    const auto entry = pending_.find(name);
    LateSecret secret = std::move(entry->second);
    pending_.erase(entry);
    isTaken_ = true;
    wasSent_ = secret.wasSent;
    return secret;
}

void LateSecretWriter::finish(std::optional<SecretFault> fault)
{
    std::vector<std::pair<SecretName, std::optional<SecretFault>>> ends;
    const auto end = [&](const SecretName& name, bool wasSent) {
        // A fault says nothing about what was sent before it came up.
        ends.emplace_back(name, fault && wasSent ? SecretFault::Unconfirmed : fault);
    };
    {
        const std::scoped_lock lock(mutex_);
        const auto latest = pending_.find(*current_);
        if (latest == pending_.end()) {
            end(*current_, wasSent_);
        } else if (isTaken_ && !(fault && isOfAll(*fault))) {
            // It was set again meanwhile, and comes next.
            latest->second.wasSent = wasSent_ || fault == SecretFault::Unconfirmed;
        } else {
            end(*current_, wasSent_ || latest->second.wasSent);
            pending_.erase(latest);
        }
        if (fault && isOfAll(*fault)) {
            for (const auto& [name, secret] : pending_)
                end(name, secret.wasSent);
            pending_.clear();
        }
        current_.reset();
    }
    for (const auto& [name, outcome] : ends)
        handler_(name, outcome);
}

} // namespace velmo
