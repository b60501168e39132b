#include "platform/linux/SecretServiceKeychain.h"

#include "core/async/MainLoop.h"
#include "platform/NullKeychain.h"
#include "platform/linux/LateSecretWriter.h"

#include <utility>

namespace velmo {
namespace {

SecretName nameOf(const QString& service, const QString& account)
{
    return {service.toStdString(), account.toStdString()};
}

} // namespace

std::shared_ptr<Keychain> SecretServiceKeychain::create()
{
    std::string address = BusConnection::localAddress(BusConnection::sessionAddress());
    if (address.empty())
        return std::make_shared<NullKeychain>();
    return std::make_shared<SecretServiceKeychain>(std::move(address));
}

SecretServiceKeychain::SecretServiceKeychain(std::string busAddress, std::function<Clock::TimePoint()> now)
    : busAddress_(std::move(busAddress))
    , now_(std::move(now))
{}

SecretServiceKeychain::~SecretServiceKeychain()
{
    *isAlive_ = false;
}

std::optional<SecretService> SecretServiceKeychain::converse()
{
    if (leftAloneUntil_ && now_() < *leftAloneUntil_)
        return std::nullopt;
    leftAloneUntil_.reset();
    return SecretService(busAddress_);
}

Keychain::Status SecretServiceKeychain::statusOf(SecretFault fault)
{
    if (fault == SecretFault::Timeout)
        leftAloneUntil_ = now_() + kLeftAlone;
    return Status::Unavailable;
}

Keychain::ReadResult SecretServiceKeychain::read(const QString& service, const QString& account)
{
    auto conversation = converse();
    if (!conversation)
        return {};
    const auto found = conversation->search(nameOf(service, account));
    if (!found)
        return {statusOf(found.error()), {}};
    if (found.value().unlocked.empty())
        return {found.value().locked.empty() ? Status::ItemNotFound : Status::Unavailable, {}};
    const auto secret = conversation->secretOf(found.value().unlocked.front());
    if (!secret)
        return {statusOf(secret.error()), {}};
    return {Status::Success, QByteArray::fromStdString(secret.value())};
}

Keychain::Status SecretServiceKeychain::update(const QString& service, const QString& account,
                                               const QByteArray& data)
{
    const SecretName name = nameOf(service, account);
    // What was set last must also be written last.
    if (isWritingLate(name))
        return writeLate(name, data);
    auto conversation = converse();
    if (!conversation)
        return Status::Unavailable;
    const auto found = conversation->search(name);
    if (!found)
        return statusOf(found.error());
    if (found.value().unlocked.empty())
        return found.value().locked.empty() ? Status::ItemNotFound : writeLate(name, data);
    const auto outcome = conversation->setSecret(found.value().unlocked.front(), data.toStdString());
    if (outcome)
        return Status::Success;
    return outcome.error() == SecretFault::IsLocked ? writeLate(name, data) : statusOf(outcome.error());
}

Keychain::Status SecretServiceKeychain::add(const QString& service, const QString& account,
                                            const QByteArray& data)
{
    const SecretName name = nameOf(service, account);
    auto conversation = converse();
    if (!conversation)
        return Status::Unavailable;
    const auto collection = conversation->defaultCollection();
    if (!collection)
        return statusOf(collection.error());
    if (collection.value() == SecretService::kNone)
        return writeLate(name, data);
    const auto isLocked = conversation->isLocked(collection.value());
    if (!isLocked)
        return statusOf(isLocked.error());
    if (isLocked.value())
        return writeLate(name, data);
    const auto prompt = conversation->createItem(collection.value(), name, data.toStdString());
    if (!prompt)
        return prompt.error() == SecretFault::IsLocked ? writeLate(name, data) : statusOf(prompt.error());
    // A key store that wants to ask before it takes something is asked by who can wait for the answer.
    return prompt.value() == SecretService::kNone ? Status::Success : writeLate(name, data);
}

Keychain::Availability SecretServiceKeychain::availability()
{
    auto conversation = converse();
    if (!conversation)
        return Availability::Timeout;
    const auto toAvailability = [this](SecretFault fault) {
        static_cast<void>(statusOf(fault));
        switch (fault) {
        case SecretFault::NoBus:
            return Availability::NoBus;
        case SecretFault::Timeout:
            return Availability::Timeout;
        case SecretFault::IsLocked:
            return Availability::Locked;
        default:
            return Availability::NoService;
        }
    };
    const auto collection = conversation->defaultCollection();
    if (!collection)
        return toAvailability(collection.error());
    // Without a collection, the first write asks the user for one.
    if (collection.value() == SecretService::kNone)
        return Availability::Available;
    const auto isLocked = conversation->isLocked(collection.value());
    if (!isLocked)
        return toAvailability(isLocked.error());
    return isLocked.value() ? Availability::Locked : Availability::Available;
}

bool SecretServiceKeychain::isWritingLate(const SecretName& name) const
{
    return lateWriter_ && lateWriter_->isWriting(name);
}

Keychain::Status SecretServiceKeychain::writeLate(const SecretName& name, const QByteArray& data)
{
    if (!lateWriter_) {
        const auto handler = [this, isAlive = isAlive_](const SecretName& written, bool isWritten) {
            async::postToMainLoop([this, isAlive, written, isWritten] {
                if (*isAlive && onLateWrite)
                    onLateWrite(QString::fromStdString(written.account),
                                isWritten ? Status::Success : Status::Unavailable);
            });
        };
        lateWriter_ = std::make_unique<LateSecretWriter>(busAddress_, handler);
    }
    lateWriter_->write(name, data.toStdString());
    return Status::Pending;
}

} // namespace velmo
