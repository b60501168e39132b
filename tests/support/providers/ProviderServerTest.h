#pragma once

#include "platform/linux/CurlHttpClient.h"
#include "providers/LLMTransport.h"
#include "support/core/Environment.h"
#include "support/core/LogLines.h"
#include "support/core/Printing.h"
#include "support/practice/PracticeServer.h"
#include "support/providers/AnswerRun.h"
#include "support/providers/Vendor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmo {

/// The client that the program uses, with limits that a test can wait for.
class ImpatientClient final : public HttpClient {
public:
    ImpatientClient(std::chrono::milliseconds idle, std::chrono::milliseconds total)
        : idle_(idle)
        , total_(total)
    {}
    std::unique_ptr<HttpExchange> send(HttpRequest request, HeadHandler onHead) override
    {
        request.idleTimeout = idle_;
        request.totalTimeout = total_;
        return client_.send(std::move(request), std::move(onHead));
    }

private:
    std::chrono::milliseconds idle_;
    std::chrono::milliseconds total_;
    CurlHttpClient client_;
};

/// A provider, the real client, and a server on this computer that misbehaves as it is told.
class ProviderServerTest : public testing::Test {
protected:
    static inline const QString kKey = QStringLiteral("dummy-key-of-this-test");
    static inline const QString kModel = QStringLiteral("model-under-test");

    ProviderServerTest()
    {
        LLMTransport::installClient([] { return std::make_unique<CurlHttpClient>(); });
    }
    ~ProviderServerTest() override
    {
        // What still runs ends now, so that it does not log into the next test.
        LLMTransport::shutDown();
        settle();
        EXPECT_FALSE(log.text().contains(kKey)) << "the key was logged";
    }

    void SetUp() override
    {
        ASSERT_NE(server.start(), 0) << server.errorString().toStdString();
        pointAt(server.baseUrl());
    }

    void pointAt(const QString& base) const
    {
        environment.anthropicUrl.assign(base.toUtf8());
        environment.openAIUrl.assign(base.toUtf8() + "/v1");
    }

    [[nodiscard]] static AnswerChannel::Reader ask(Vendor vendor, const QString& key = kKey)
    {
        const LLMMessage question{LLMMessage::Role::User, QStringLiteral("What is this?"), std::nullopt};
        // The provider is gone before its work begins, as the work does not need it.
        return makeProvider(vendor, key, kModel)->stream({question}, QStringLiteral("Be brief."));
    }

    /// The lines, each with the vendor's category in front.
    [[nodiscard]] static QStringList lines(Vendor vendor, const QStringList& messages)
    {
        QStringList result;
        for (const QString& message : messages)
            result.append(u'[' + categoryOf(vendor) + QStringLiteral("] ") + message);
        return result;
    }

    static inline const QString kPreparing =
        QStringLiteral("Preparing request model=model-under-test messages=1 imageAttached=false");
    static inline const QString kFirstAttempt = QStringLiteral("Starting request attempt=1");
    static inline const QString kSecondAttempt = QStringLiteral("Starting request attempt=2");
    static inline const QString kStarted = QStringLiteral("Streaming response started status=200");
    [[nodiscard]] static QString completed(qsizetype pieces)
    {
        return QStringLiteral("Streaming response completed emittedChunks=") + QString::number(pieces);
    }
    [[nodiscard]] static QString attemptFailed(int attempt, bool retryable, const QString& error)
    {
        return QStringLiteral("Request attempt failed attempt=") + QString::number(attempt) +
               QStringLiteral(" retryable=") +
               (retryable ? QStringLiteral("true") : QStringLiteral("false")) + QStringLiteral(" error=") +
               error;
    }
    [[nodiscard]] static QString failed(const QString& error)
    {
        return QStringLiteral("Streaming failed error=") + error;
    }

    CleanProviderEnvironment environment;
    LogLines log;
    practice::PracticeServer server;
};

/// The same for each vendor.
class BothProviders : public ProviderServerTest, public testing::WithParamInterface<Vendor> {};

[[nodiscard]] inline std::string vendorName(const testing::TestParamInfo<Vendor>& info)
{
    return categoryOf(info.param).toStdString();
}

} // namespace velmo
