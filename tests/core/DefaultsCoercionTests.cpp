#include "core/DefaultsCoercion.h"
#include "support/core/Printing.h"

#include <QJsonArray>
#include <QJsonObject>
#include <gtest/gtest.h>

namespace velmo {
namespace {

TEST(DefaultsCoercionTest, NothingStoredGivesNothing)
{
    for (const QJsonValue::Type absent : {QJsonValue::Undefined, QJsonValue::Null}) {
        EXPECT_EQ(coercedInteger(QJsonValue(absent)), std::nullopt);
        EXPECT_EQ(coercedBoolean(QJsonValue(absent)), std::nullopt);
        EXPECT_EQ(coercedString(QJsonValue(absent)), std::nullopt);
        EXPECT_EQ(strictInteger(QJsonValue(absent)), std::nullopt);
    }
}

TEST(DefaultsCoercionTest, LargeIntegersKeepAllTheirDigits)
{
    constexpr qint64 kLarge = 9'007'199'254'740'993; // One more than a real number can tell apart.
    EXPECT_EQ(coercedInteger(QJsonValue(kLarge)), kLarge);
    EXPECT_EQ(strictInteger(QJsonValue(kLarge)), kLarge);
    EXPECT_EQ(coercedString(QJsonValue(kLarge)), QStringLiteral("9007199254740993"));
}

TEST(DefaultsCoercionTest, TextsGiveTheirLeadingNumber)
{
    EXPECT_EQ(coercedInteger(QStringLiteral("36")), 36);
    EXPECT_EQ(coercedInteger(QStringLiteral("+36")), 36);
    EXPECT_EQ(coercedInteger(QStringLiteral("-36.9")), -36);
    EXPECT_EQ(coercedInteger(QStringLiteral("36 keys")), 36);
    EXPECT_EQ(coercedInteger(QStringLiteral("-")), 0);
    EXPECT_EQ(coercedInteger(QStringLiteral("keys")), 0);
}

TEST(DefaultsCoercionTest, OnlyWholeNumbersAreStrictIntegers)
{
    EXPECT_EQ(strictInteger(0), 0);
    EXPECT_EQ(strictInteger(-5.0), -5);
    EXPECT_EQ(strictInteger(3.7), std::nullopt);
    EXPECT_EQ(strictInteger(true), std::nullopt);
    EXPECT_EQ(strictInteger(QStringLiteral("3")), std::nullopt);
    EXPECT_EQ(strictInteger(QJsonArray{3}), std::nullopt);
}

TEST(DefaultsCoercionTest, NumbersAndTruthsHaveATextForm)
{
    EXPECT_EQ(coercedString(5), QStringLiteral("5"));
    EXPECT_EQ(coercedString(3.5), QStringLiteral("3.5"));
    EXPECT_EQ(coercedString(true), QStringLiteral("1"));
    EXPECT_EQ(coercedString(false), QStringLiteral("0"));
    EXPECT_EQ(coercedString(QString()), QString());
    EXPECT_EQ(coercedString(QJsonObject()), std::nullopt);
}

TEST(DefaultsCoercionTest, TextsBeginWithTheirTruth)
{
    for (const char* yes : {"YES", "yes", "true", "T", "1", "9"})
        EXPECT_EQ(coercedBoolean(QString::fromLatin1(yes)), true) << yes;
    for (const char* no : {"", "NO", "false", "0", "on", " yes"})
        EXPECT_EQ(coercedBoolean(QString::fromLatin1(no)), false) << no;
}

} // namespace
} // namespace velmo
