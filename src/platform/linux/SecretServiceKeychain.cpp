#include "platform/linux/SecretServiceKeychain.h"

#include "core/async/MainLoop.h"
#include "platform/NullKeychain.h"

#include <utility>

namespace velmo {
namespace {

SecretName nameOf(const QString& service, const QString& account)
{
    return {service.toStdString(), account.toStdString()};
}

bool isWithoutAnswer(SecretFault fault)
{
    return fault == SecretFault::Timeout || fault == SecretFault::Unconfirmed;
}

/// Whether another item of the same service could fare better.
bool isOfTheItem(SecretFault fault)
{
    return fault == SecretFault::NoObject || fault == SecretFault::IsLocked ||
           fault == SecretFault::Refused || fault == SecretFault::NotUnderstood;
}

} // namespace

std::shared_ptr<Keychain> SecretServiceKeychain::create(SecretPatience patience)
{
    std::string address = BusConnection::localAddress(BusConnection::sessionAddress());
    if (address.empty())
        return std::make_shared<NullKeychain>();
    Options options;
    options.patience = patience;
    return std::make_shared<SecretServiceKeychain>(std::move(address), std::move(options));
}

SecretServiceKeychain::SecretServiceKeychain(std::string busAddress, Options options)
    : busAddress_(std::move(busAddress))
    , options_(std::move(options))
{}

SecretServiceKeychain::~SecretServiceKeychain()
{
    shutDown();
}

void SecretServiceKeychain::shutDown()
{
    *isAlive_ = false;
    lateWriter_.reset();
}

std::optional<SecretService> SecretServiceKeychain::converse()
{
    if (leftAloneUntil_ && options_.now() < *leftAloneUntil_)
        return std::nullopt;
    leftAloneUntil_.reset();
    return std::optional<SecretService>(std::in_place, busAddress_, options_.patience);
}

Keychain::Status SecretServiceKeychain::statusOf(SecretFault fault)
{
    if (isWithoutAnswer(fault))
        leftAloneUntil_ = options_.now() + kLeftAlone;
    switch (fault) {
    case SecretFault::NoObject:
        return Status::ItemNotFound;
    case SecretFault::Dismissed:
        return Status::Dismissed;
    case SecretFault::Unconfirmed:
        return Status::Unconfirmed;
    default:
        return Status::Unavailable;
    }
}

Keychain::ReadResult SecretServiceKeychain::read(const QString& service, const QString& account)
{
    auto conversation = converse();
    if (!conversation)
        return {};
    const auto items = conversation->search(nameOf(service, account));
    if (!items)
        return {statusOf(items.error()), {}};
    if (items.value().isEmpty()) {
        const auto collection = conversation->defaultCollection();
        if (!collection)
            return {statusOf(collection.error()), {}};
        // What is locked may hold an item that was not found.
        return {collection.value().isLocked ? Status::Unavailable : Status::ItemNotFound, {}};
    }
    for (const std::string& item : items.value().unlocked) {
        const auto secret = conversation->secretOf(item);
        if (secret)
            return {Status::Success, QByteArray::fromStdString(secret.value())};
        if (!isOfTheItem(secret.error()))
            return {statusOf(secret.error()), {}};
    }
    return {};
}

Keychain::Status SecretServiceKeychain::update(const QString& service, const QString& account,
                                               const QByteArray& data)
{
    return store(nameOf(service, account), {data.toStdString(), LateSecret::IfMissing::Stays});
}

Keychain::Status SecretServiceKeychain::write(const QString& service, const QString& account,
                                              const QByteArray& data)
{
    return store(nameOf(service, account), {data.toStdString(), LateSecret::IfMissing::IsAdded});
}

Keychain::Status SecretServiceKeychain::add(const QString& service, const QString& account,
                                            const QByteArray& data)
{
    const SecretName name = nameOf(service, account);
    LateSecret secret{data.toStdString(), LateSecret::IfMissing::IsAdded};
    if (isWritingLate(name))
        return writeLate(name, std::move(secret));
    auto conversation = converse();
    if (!conversation)
        return Status::Unavailable;
    const auto collection = conversation->defaultCollection();
    if (!collection)
        return statusOf(collection.error());
    return create(*conversation, collection.value(), name, std::move(secret));
}

Keychain::Status SecretServiceKeychain::store(const SecretName& name, LateSecret secret)
{
    // What was set last must also be written last.
    if (isWritingLate(name))
        return writeLate(name, std::move(secret));
    auto conversation = converse();
    if (!conversation)
        return Status::Unavailable;
    const auto items = conversation->search(name);
    if (!items)
        return statusOf(items.error());
    if (!items.value().isEmpty()) {
        if (items.value().mustBeUnlockedFor(secret.text))
            return writeLate(name, std::move(secret));
        const auto outcome = conversation->setSecret(items.value().unlocked, secret.text);
        return outcome ? Status::Success : settle(outcome.error(), name, std::move(secret));
    }
    const auto collection = conversation->defaultCollection();
    if (!collection)
        return statusOf(collection.error());
    if (secret.ifMissing == LateSecret::IfMissing::IsAdded)
        return create(*conversation, collection.value(), name, std::move(secret));
    // What is locked may hold an item that was not found.
    return collection.value().isLocked ? writeLate(name, std::move(secret)) : Status::ItemNotFound;
}

Keychain::Status SecretServiceKeychain::create(SecretService& service,
                                               const SecretService::Collection& collection,
                                               const SecretName& name, LateSecret secret)
{
    if (!collection.exists() || collection.isLocked)
        return writeLate(name, std::move(secret));
    const auto prompt = service.createItem(collection.path, name, secret.text);
    if (!prompt)
        return settle(prompt.error(), name, std::move(secret));
    // A key store that wants to ask before it takes something is asked by who can wait for the answer.
    return prompt.value() == SecretService::kNone ? Status::Success : writeLate(name, std::move(secret));
}

Keychain::Status SecretServiceKeychain::settle(SecretFault fault, const SecretName& name, LateSecret secret)
{
    const Status status = statusOf(fault);
    secret.wasSent = status == Status::Unconfirmed;
    const bool isHelped = secret.wasSent || fault == SecretFault::IsLocked;
    return isHelped ? writeLate(name, std::move(secret)) : status;
}

Keychain::Availability SecretServiceKeychain::availability()
{
    auto conversation = converse();
    if (!conversation)
        return Availability::Timeout;
    const auto collection = conversation->defaultCollection();
    // Without a collection, the first write asks the user for one.
    if (collection)
        return collection.value().isLocked ? Availability::Locked : Availability::Available;
    static_cast<void>(statusOf(collection.error()));
    switch (collection.error()) {
    case SecretFault::NoBus:
        return Availability::NoBus;
    case SecretFault::NoService:
        return Availability::NoService;
    case SecretFault::Timeout:
        return Availability::Timeout;
    case SecretFault::IsLocked:
        return Availability::Locked;
    default:
        return Availability::Refused;
    }
}

bool SecretServiceKeychain::isWritingLate(const SecretName& name) const
{
    return lateWriter_ && lateWriter_->isWriting(name);
}

Keychain::Status SecretServiceKeychain::writeLate(const SecretName& name, LateSecret secret)
{
    if (!*isAlive_)
        return Status::Unavailable;
    if (!lateWriter_) {
        const auto handler = [this, isAlive = isAlive_](const SecretName& written,
                                                        std::optional<SecretFault> fault) {
            async::postToMainLoop([this, isAlive, written, fault] {
                if (!*isAlive)
                    return;
                const Status status = fault ? statusOf(*fault) : Status::Success;
                if (onLateWrite)
                    onLateWrite(QString::fromStdString(written.account), status);
            });
        };
        lateWriter_ = std::make_unique<LateSecretWriter>(busAddress_, options_.latePatience, handler);
    }
    lateWriter_->write(name, std::move(secret));
    return Status::Pending;
}

} // namespace velmo
