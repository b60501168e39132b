#include "core/DefaultsCoercion.h"

#include "core/CoordinateSpace.h"

#include <cmath>

namespace velmo {

namespace {

qint64 leadingInteger(const QString& text)
{
    qsizetype end = 0;
    const QString trimmed = text.trimmed();
    if (end < trimmed.size() && (trimmed[end] == u'-' || trimmed[end] == u'+'))
        ++end;
    while (end < trimmed.size() && trimmed[end] >= u'0' && trimmed[end] <= u'9')
        ++end;
    return trimmed.first(end).toLongLong();
}

} // namespace

std::optional<qint64> coercedInteger(const QJsonValue& stored)
{
    switch (stored.type()) {
    case QJsonValue::Undefined:
    case QJsonValue::Null:
        return std::nullopt;
    case QJsonValue::Bool:
        return stored.toBool() ? 1 : 0;
    case QJsonValue::Double:
        return stored.toInteger(wholeNumber(stored.toDouble()));
    case QJsonValue::String:
        return leadingInteger(stored.toString());
    case QJsonValue::Array:
    case QJsonValue::Object:
        return 0;
    }
    return std::nullopt;
}

std::optional<bool> coercedBoolean(const QJsonValue& stored)
{
    switch (stored.type()) {
    case QJsonValue::Undefined:
    case QJsonValue::Null:
        return std::nullopt;
    case QJsonValue::Bool:
        return stored.toBool();
    case QJsonValue::Double:
        return stored.toDouble() != 0;
    case QJsonValue::String: {
        const QString text = stored.toString();
        return !text.isEmpty() && QStringLiteral("YyTt123456789").contains(text[0]);
    }
    case QJsonValue::Array:
    case QJsonValue::Object:
        return false;
    }
    return std::nullopt;
}

std::optional<QString> coercedString(const QJsonValue& stored)
{
    switch (stored.type()) {
    case QJsonValue::Bool:
        return stored.toBool() ? QStringLiteral("1") : QStringLiteral("0");
    case QJsonValue::Double:
        return stored.toVariant().toString();
    case QJsonValue::String:
        return stored.toString();
    case QJsonValue::Undefined:
    case QJsonValue::Null:
    case QJsonValue::Array:
    case QJsonValue::Object:
        break;
    }
    return std::nullopt;
}

std::optional<qint64> strictInteger(const QJsonValue& stored)
{
    if (!stored.isDouble())
        return std::nullopt;
    const double value = stored.toDouble();
    if (std::trunc(value) != value)
        return std::nullopt;
    return stored.toInteger(wholeNumber(value));
}

} // namespace velmo
