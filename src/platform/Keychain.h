#pragma once

#include <QByteArray>
#include <QString>

namespace velmo {

/// Secrets by service and account. Main thread; a call returns within half a second.
class Keychain {
public:
    enum class Status {
        Success,
        ItemNotFound, ///< No item with that service and account.
        Unavailable,  ///< No key store, or it is locked, or it did not answer.
    };
    struct ReadResult {
        Status status = Status::Unavailable;
        QByteArray data;
    };

    virtual ~Keychain() = default;

    [[nodiscard]] virtual ReadResult read(const QString& service, const QString& account) = 0;
    /// Replaces the data of an item that exists.
    virtual Status update(const QString& service, const QString& account, const QByteArray& data) = 0;
    virtual Status add(const QString& service, const QString& account, const QByteArray& data) = 0;
};

} // namespace velmo
