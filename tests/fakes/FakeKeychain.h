#pragma once

#include "platform/Keychain.h"

#include <QMap>
#include <QStringList>
#include <optional>

namespace velmo {

/// A key store in memory; it remembers every call and can be made to fail.
class FakeKeychain final : public Keychain {
public:
    [[nodiscard]] ReadResult read(const QString& service, const QString& account) override
    {
        calls.append(QStringLiteral("read ") + name(service, account));
        if (!isAvailable)
            return {Status::Unavailable, {}};
        const QString item = name(service, account);
        return items.contains(item) ? ReadResult{Status::Success, items.value(item)}
                                    : ReadResult{Status::ItemNotFound, {}};
    }
    Status update(const QString& service, const QString& account, const QByteArray& data) override
    {
        calls.append(QStringLiteral("update ") + name(service, account));
        if (!isAvailable)
            return Status::Unavailable;
        if (writeOutcome)
            return *writeOutcome;
        if (!items.contains(name(service, account)))
            return Status::ItemNotFound;
        items.insert(name(service, account), data);
        return Status::Success;
    }
    Status add(const QString& service, const QString& account, const QByteArray& data) override
    {
        calls.append(QStringLiteral("add ") + name(service, account));
        if (!isAvailable)
            return Status::Unavailable;
        if (writeOutcome)
            return *writeOutcome;
        items.insert(name(service, account), data);
        return Status::Success;
    }

    [[nodiscard]] Availability availability() override
    {
        return isAvailable ? whenAvailable : Availability::NoService;
    }

    [[nodiscard]] static QString name(const QString& service, const QString& account)
    {
        return service + u'/' + account;
    }

    bool isAvailable = true;
    Availability whenAvailable = Availability::Available;
    std::optional<Status> writeOutcome; ///< Of each write that is to store nothing.
    QMap<QString, QByteArray> items;    ///< By name(service, account).
    QStringList calls;
};

} // namespace velmo
