#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

namespace velmo {

/// Secrets by service and account. Main thread; a call returns within half a second, and none asks the user
/// for anything before it returns.
class Keychain {
public:
    enum class Status {
        Success,
        ItemNotFound, ///< No item with that service and account.
        Unavailable,  ///< No key store, or it is locked, or it did not answer.
        Pending,      ///< The user is asked to unlock the key store; onLateWrite tells what came of it.
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
        NoBus,     ///< There is no session bus to ask on.
        Off,       ///< The user does not want it to be asked.
    };

    virtual ~Keychain() = default;

    /// Never asks the user: what is locked cannot be read.
    [[nodiscard]] virtual ReadResult read(const QString& service, const QString& account) = 0;
    /// Replaces the data of an item that exists.
    virtual Status update(const QString& service, const QString& account, const QByteArray& data) = 0;
    virtual Status add(const QString& service, const QString& account, const QByteArray& data) = 0;

    [[nodiscard]] virtual Availability availability() = 0;

    /// The end of each write that was Pending: Success or Unavailable. Called on a later turn.
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
            "The keyring is locked: the keys in it are not used, and saving one asks you to "
            "unlock it.");
    case Keychain::Availability::NoService:
        return QStringLiteral("No keyring is running, so no key can be kept. Install one, such as "
                              "gnome-keyring, or put keys into the environment.");
    case Keychain::Availability::Timeout:
        return QStringLiteral("The keyring does not answer, so it is left alone for a moment.");
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
