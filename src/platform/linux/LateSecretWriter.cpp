#include "platform/linux/LateSecretWriter.h"

#include <utility>

namespace velmo {

LateSecretWriter::LateSecretWriter(std::string busAddress, Handler handler)
    : busAddress_(std::move(busAddress))
    , handler_(std::move(handler))
{}

LateSecretWriter::~LateSecretWriter()
{
    interrupt_.request();
}

void LateSecretWriter::write(const SecretName& name, std::string secret)
{
    {
        const std::scoped_lock lock(mutex_);
        pending_.insert_or_assign(name, std::move(secret));
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
        SecretService service(busAddress_, &interrupt_);
        auto outcome = unlockFor(service, *name);
        if (outcome)
            outcome = writeLatest(service, *name);
        if (outcome) {
            finish(*name, true);
            continue;
        }
        // Whoever does not want to be asked is not asked again for the next key.
        giveUp();
    }
}

SecretService::Answer<LateSecretWriter::Done> LateSecretWriter::unlockFor(SecretService& service,
                                                                          const SecretName& name)
{
    const auto found = service.search(name);
    if (!found)
        return Failure{found.error()};
    if (!found.value().unlocked.empty())
        return Done{};
    const auto target = found.value().locked.empty()
                            ? service.defaultCollection()
                            : SecretService::Answer<std::string>(found.value().locked.front());
    if (!target)
        return Failure{target.error()};
    // Nobody waits here, so each question may take its time.
    service.beginLimit();
    const auto prompt = target.value() == SecretService::kNone ? service.createDefaultCollection()
                                                               : service.unlock(target.value());
    if (!prompt)
        return Failure{prompt.error()};
    return prompt.value() == SecretService::kNone ? Done{} : service.awaitPrompt(prompt.value());
}

SecretService::Answer<LateSecretWriter::Done> LateSecretWriter::writeLatest(SecretService& service,
                                                                            const SecretName& name)
{
    service.beginLimit();
    // Some key stores find an item only when it is unlocked, and the user had time to make one.
    const auto found = service.search(name);
    if (!found)
        return Failure{found.error()};
    if (!found.value().unlocked.empty())
        return service.setSecret(found.value().unlocked.front(), takeSecret(name));
    if (!found.value().locked.empty())
        return Failure{SecretFault::IsLocked};
    const auto collection = service.defaultCollection();
    if (!collection)
        return Failure{collection.error()};
    const auto prompt = service.createItem(collection.value(), name, takeSecret(name));
    if (!prompt)
        return Failure{prompt.error()};
    return prompt.value() == SecretService::kNone ? Done{} : service.awaitPrompt(prompt.value());
}

std::optional<SecretName> LateSecretWriter::nextName()
{
    const std::scoped_lock lock(mutex_);
    current_ = pending_.empty() ? std::nullopt : std::optional(pending_.begin()->first);
    return current_;
}

std::string LateSecretWriter::takeSecret(const SecretName& name)
{
    const std::scoped_lock lock(mutex_);
    auto node = pending_.extract(name);
    return node.empty() ? std::string() : std::move(node.mapped());
}

void LateSecretWriter::finish(const SecretName& name, bool isWritten)
{
    {
        const std::scoped_lock lock(mutex_);
        current_.reset();
    }
    handler_(name, isWritten);
}

void LateSecretWriter::giveUp()
{
    std::map<SecretName, std::string> abandoned;
    {
        const std::scoped_lock lock(mutex_);
        abandoned.swap(pending_);
        if (current_)
            abandoned.try_emplace(*current_);
        current_.reset();
    }
    for (const auto& entry : abandoned)
        handler_(entry.first, false);
}

} // namespace velmo
