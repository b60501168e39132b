#include "providers/LLMTransport.h"

#include "core/DebugLog.h"
#include "core/Text.h"
#include "core/async/OneShot.h"
#include "core/async/Timer.h"

namespace velmo {

namespace {

constexpr int kAttempts = 2;
constexpr std::chrono::milliseconds kRetryPause{1000};

struct SharedClient {
    std::function<std::shared_ptr<HttpClient>()> make;
    std::shared_ptr<HttpClient> client;
};

SharedClient& sharedClient()
{
    static SharedClient shared;
    return shared;
}

HttpClient& client()
{
    SharedClient& shared = sharedClient();
    Q_ASSERT_X(shared.make, "LLMTransport", "installClient() comes first");
    if (!shared.client)
        shared.client = shared.make();
    return *shared.client;
}

} // namespace

void LLMTransport::installClient(std::function<std::shared_ptr<HttpClient>()> makeClient)
{
    sharedClient() = {std::move(makeClient), nullptr};
}

void LLMTransport::shutDown()
{
    sharedClient().client.reset();
}

async::Task<Result<HttpResponse, HttpError>> LLMTransport::bytes(HttpRequest request, QString provider)
{
    for (int attempt = 1;; ++attempt) {
        DebugLog::log(provider, QStringLiteral("Starting request attempt=") + QString::number(attempt));
        const async::OneShot<Result<HttpResponse, HttpError>> head;
        const auto exchange = client().send(
            request, [head](Result<HttpResponse, HttpError> result) { head.resolve(std::move(result)); });
        auto result = co_await head.value();
        if (result)
            co_return result;
        const bool retryable = isRetryable(result.error());
        DebugLog::log(provider, QStringLiteral("Request attempt failed attempt=") + QString::number(attempt) +
                                    QStringLiteral(" retryable=") + boolText(retryable) +
                                    QStringLiteral(" error=") + result.error().description);
        if (!retryable || attempt == kAttempts)
            co_return result;
        co_await async::sleepFor(kRetryPause);
    }
}

async::Task<std::optional<HttpError>> LLMTransport::consume(std::unique_ptr<HttpBody> body,
                                                            HttpBody::Consumer consumer)
{
    const async::OneShot<std::optional<HttpError>> end;
    body->read(std::move(consumer), [end](std::optional<HttpError> error) { end.resolve(std::move(error)); });
    co_return co_await end.value();
}

bool LLMTransport::isRetryable(const HttpError& error)
{
    switch (error.kind) {
    case HttpErrorKind::TimedOut:
    case HttpErrorKind::ConnectionLost:
    case HttpErrorKind::CannotConnectToHost:
    case HttpErrorKind::CannotFindHost:
    case HttpErrorKind::DnsLookupFailed:
    case HttpErrorKind::NotConnectedToInternet:
        return true;
    case HttpErrorKind::Cancelled:
    case HttpErrorKind::Tls:
    case HttpErrorKind::Unsupported:
    case HttpErrorKind::Other:
        return false;
    }
    return false;
}

} // namespace velmo
