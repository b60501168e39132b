#include "core/ServiceEndpoint.h"
#include "support/core/Environment.h"
#include "support/core/Printing.h"

#include <gmock/gmock.h>

namespace velmo {

namespace {

constexpr const char* kVariable = "VELMO_TEST_BASE_URL";

QString endpoint(const char* base, const char* usual = "https://api.example.com")
{
    const EnvironmentVariable variable(kVariable,
                                       base != nullptr ? std::optional(QByteArray(base)) : std::nullopt);
    return serviceEndpoint({kVariable, usual}, QStringLiteral("messages")).toString();
}

} // namespace

TEST(ServiceEndpointTest, WithoutABaseItIsTheUsualHost)
{
    EXPECT_EQ(endpoint(nullptr), QStringLiteral("https://api.example.com/v1/messages"));
    EXPECT_EQ(endpoint(""), QStringLiteral("https://api.example.com/v1/messages"));
    EXPECT_EQ(endpoint("  "), QStringLiteral("https://api.example.com/v1/messages"));
    EXPECT_EQ(endpoint(nullptr, "https://api.example.com/v1"),
              QStringLiteral("https://api.example.com/v1/messages"));
}

TEST(ServiceEndpointTest, TheVersionMayBeMissingThereOrDoubled)
{
    const QString expected = QStringLiteral("http://127.0.0.1:8080/v1/messages");
    for (const char* base : {"http://127.0.0.1:8080", "http://127.0.0.1:8080/", "http://127.0.0.1:8080/v1",
                             "http://127.0.0.1:8080/v1/", "http://127.0.0.1:8080/v1/v1",
                             "http://127.0.0.1:8080/v1//v1//", " http://127.0.0.1:8080/v1\n"})
        EXPECT_EQ(endpoint(base), expected) << base;
}

TEST(ServiceEndpointTest, APathBeforeTheVersionStays)
{
    EXPECT_EQ(endpoint("https://gateway.example.com/anthropic/v1/"),
              QStringLiteral("https://gateway.example.com/anthropic/v1/messages"));
    EXPECT_EQ(endpoint("https://gateway.example.com/api/v10"),
              QStringLiteral("https://gateway.example.com/api/v10/v1/messages"));
}

TEST(ServiceEndpointTest, AMissingSchemeIsHttpsAndHttpOnThisComputer)
{
    EXPECT_EQ(endpoint("api.other.com"), QStringLiteral("https://api.other.com/v1/messages"));
    EXPECT_EQ(endpoint("localhost:11434"), QStringLiteral("http://localhost:11434/v1/messages"));
    EXPECT_EQ(endpoint("127.0.0.1:8080/v1"), QStringLiteral("http://127.0.0.1:8080/v1/messages"));
    EXPECT_EQ(endpoint("[::1]:8080"), QStringLiteral("http://[::1]:8080/v1/messages"));
    EXPECT_EQ(endpoint("localhost.example.com"), QStringLiteral("https://localhost.example.com/v1/messages"));
}

TEST(ServiceEndpointTest, WhatIsNoAddressGivesNoHost)
{
    for (const char* base : {"http://", "https:///", "http://a b"}) {
        const EnvironmentVariable variable(kVariable, QByteArray(base));
        const QUrl url = serviceEndpoint({kVariable, "https://api.example.com"}, QStringLiteral("m"));
        EXPECT_TRUE(!url.isValid() || url.host().isEmpty()) << base;
    }
}

} // namespace velmo
