#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

namespace velmo {

/// Secrets by service and account. Main thread; a call may wait for the key store, for as long as the store
/// that is chosen says, and none asks the user for anything before it returns.
class Keychain {
public:
    enum class Status {
        Success,
        ItemNotFound, ///< No item with that service and account.
        Unavailable,  ///< No key store, or it is locked, or it did not answer, or it refused.
        Pending,      ///< The user is asked, or the store takes its time; onLateWrite tells what came of it.
        Dismissed,    ///< The user was asked and did not want to: nothing was written. Of late writes only.
        Unconfirmed,  ///< It was sent, but nobody said that it is kept: it may be. Of late writes only.
    };
    struct ReadResult {
        Status status = Status::Unavailable;
        QByteArray data;
    };
    /// Whether keys can be kept, and why not.
    enum class Availability {
        Available,
        Locked,    ///< Nothing can be read; writing asks the user to unlock it.
        NoService, ///< Nobody on the session bus keeps secrets.
        Timeout,   ///< It did not answer in time, now or a moment ago.
        Refused,   ///< It answers, but not with what a key store should.
        NoBus,     ///< There is no session bus to ask on.
        Off,       ///< The user does not want it to be asked.
    };

    virtual ~Keychain() = default;

    /// Never asks the user: what is locked cannot be read.
    [[nodiscard]] virtual ReadResult read(const QString& service, const QString& account) = 0;
    /// Replaces the data of an item that exists.
    virtual Status update(const QString& service, const QString& account, const QByteArray& data) = 0;
    virtual Status add(const QString& service, const QString& account, const QByteArray& data) = 0;
    /// Updates, and adds where there is nothing to update.
    virtual Status write(const QString& service, const QString& account, const QByteArray& data)
    {
        const Status status = update(service, account, data);
        return status == Status::ItemNotFound ? add(service, account, data) : status;
    }

    [[nodiscard]] virtual Availability availability() = 0;

    /// Ends what still goes on, without a word to onLateWrite. Nothing is written late from then on.
    virtual void shutDown() {}

    /// What came of writes that were Pending: once for each account, however often it was written meanwhile,
    /// and then of what was written last. Called on a later turn; never with Pending.
    std::function<void(const QString& account, Status status)> onLateWrite;
};

/// A sentence for users.
[[nodiscard]] inline QString description(Keychain::Availability availability)
{
    switch (availability) {
    case Keychain::Availability::Available:
        return QStringLiteral("Keys are kept in the keyring.");
    case Keychain::Availability::Locked:
        return QStringLiteral(
            "The keyring is locked: what is in it cannot be read, and saving a key asks you "
            "to unlock it.");
    case Keychain::Availability::NoService:
        return QStringLiteral("No keyring is running, so no key can be kept. Install one, such as "
                              "gnome-keyring, or put keys into the environment.");
    case Keychain::Availability::Timeout:
        return QStringLiteral("The keyring did not answer in time, so no key can be read or kept now.");
    case Keychain::Availability::Refused:
        return QStringLiteral(
            "The keyring refuses to serve Velmo, so no key can be read or kept. Put keys into "
            "the environment.");
    case Keychain::Availability::NoBus:
        return QStringLiteral("There is no session bus, so no keyring can be reached. Put keys into the "
                              "environment.");
    case Keychain::Availability::Off:
        return QStringLiteral("The keyring is switched off (VELMO_KEYRING=off): keys come from the "
                              "environment, and none is kept.");
    }
    return {};
}

} // namespace velmo
