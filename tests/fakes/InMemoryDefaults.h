#pragma once

#include "platform/UserDefaults.h"

#include <QMap>
#include <utility>
#include <vector>

namespace velmo {

/// A settings store without a file; it remembers every write in its order.
class InMemoryDefaults final : public UserDefaults {
public:
    using Write = std::pair<QString, QJsonValue>;

    [[nodiscard]] QJsonValue object(const QString& key) const override
    {
        return values.value(key, QJsonValue(QJsonValue::Undefined));
    }
    void setObject(const QString& key, const QJsonValue& value) override
    {
        values.insert(key, value);
        writes.emplace_back(key, value);
    }

    /// What is stored now. A test may put what an earlier run stored.
    QMap<QString, QJsonValue> values;
    std::vector<Write> writes;
};

} // namespace velmo
