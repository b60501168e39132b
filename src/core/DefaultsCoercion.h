#pragma once

#include <QJsonValue>
#include <QString>
#include <optional>

namespace velmo {

/// How a stored value of any type is read as the type that is wanted. A value that is not stored gives
/// nothing; one of another type gives the nearest meaning, never an error.

/// Truth is 0 or 1, a real is cut towards zero, a text gives its leading decimal number or 0.
[[nodiscard]] std::optional<qint64> coercedInteger(const QJsonValue& stored);

/// A number is true unless it is 0; a text is true if it begins with Y, y, T, t or a digit from 1 to 9.
[[nodiscard]] std::optional<bool> coercedBoolean(const QJsonValue& stored);

/// A number gives its decimal form. Values that are no text at all give nothing.
[[nodiscard]] std::optional<QString> coercedString(const QJsonValue& stored);

/// Only a true whole number counts.
[[nodiscard]] std::optional<qint64> strictInteger(const QJsonValue& stored);

} // namespace velmo
