// Whatever a settings file holds, reading a value as any type gives an answer and does not crash.

#include "core/DefaultsCoercion.h"

#include <QJsonArray>
#include <QJsonObject>
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

/// The first byte chooses the type, the rest is the value: the JSON parser itself is not what is tried here.
QJsonValue valueFrom(const uint8_t* data, size_t size)
{
    uint64_t bits = 0;
    std::memcpy(&bits, data + 1, std::min(size - 1, sizeof bits));
    double number = 0;
    std::memcpy(&number, &bits, sizeof number);
    switch (data[0] % 6) {
    case 0:
        return QString::fromUtf8(reinterpret_cast<const char*>(data + 1), static_cast<qsizetype>(size - 1));
    case 1:
        return number;
    case 2:
        return static_cast<qint64>(bits);
    case 3:
        return bits % 2 == 0;
    case 4:
        return QJsonArray{number};
    default:
        return QJsonObject{{QStringLiteral("a"), number}};
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const QJsonValue value = valueFrom(data, size);
    const auto strict = velmo::strictInteger(value);
    // A true whole number is read the same either way.
    if (strict && strict != velmo::coercedInteger(value))
        std::abort();
    static_cast<void>(velmo::coercedBoolean(value));
    static_cast<void>(velmo::coercedString(value));
    return 0;
}
