#pragma once

#include <QJsonValue>
#include <QString>
#include <QStringList>

namespace velmo {

/// The user's stored choices: typed values by key. Main thread; neither call waits for a disk.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;

    /// The stored value; QJsonValue::Undefined when nothing is stored under the key.
    [[nodiscard]] virtual QJsonValue object(const QString& key) const = 0;

    /// Visible to object() at once, made durable later, in the order of the calls.
    virtual void setObject(const QString& key, const QJsonValue& value) = 0;
};

} // namespace velmo
