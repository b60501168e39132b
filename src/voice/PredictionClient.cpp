#include "voice/PredictionClient.h"

#include "core/DebugLog.h"
#include "core/ServiceEndpoint.h"
#include "core/Text.h"
#include "core/async/WorkerPool.h"
#include "platform/HttpFetch.h"
#include "voice/PredictionText.h"

#include <QJsonDocument>

namespace velmo {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds kCreationTimeOut = 90s;
constexpr std::chrono::milliseconds kPollTimeOut = 30s;
constexpr std::chrono::milliseconds kPollPause = 1s;
constexpr int kPolls = 60;
constexpr int kBatchSize = 24;

constexpr int kStatusOK = 200;
constexpr int kStatusCreated = 201;
constexpr int kFirstStatusAfterSuccess = 300;

QUrl predictionsEndpoint()
{
    return serviceEndpoint(kReplicateBase, QStringLiteral("predictions"));
}

QByteArray predictionBody(const QString& modelVersion, const QByteArray& audioDataURI)
{
    const QJsonObject input{{QStringLiteral("audio"), QString::fromLatin1(audioDataURI)},
                            {QStringLiteral("task"), QStringLiteral("transcribe")},
                            {QStringLiteral("batch_size"), kBatchSize},
                            {QStringLiteral("timestamp"), QStringLiteral("chunk")}};
    const QJsonObject prediction{{QStringLiteral("version"), modelVersion}, {QStringLiteral("input"), input}};
    return QJsonDocument(prediction).toJson(QJsonDocument::Compact);
}

int portOf(const QUrl& url)
{
    constexpr int kHttps = 443;
    constexpr int kHttp = 80;
    return url.port(url.scheme() == QStringLiteral("https") ? kHttps : kHttp);
}

/// Where to ask for the result; nothing if the reply does not say so, or names somebody else.
std::optional<QUrl> pollUrl(const QJsonObject& reply, const QUrl& endpoint)
{
    const QJsonValue address = reply.value(QStringLiteral("urls")).toObject().value(QStringLiteral("get"));
    if (!address.isString())
        return std::nullopt;
    const QUrl url(address.toString(), QUrl::StrictMode);
    const bool sameOrigin = url.isValid() && url.userInfo().isEmpty() && url.scheme() == endpoint.scheme() &&
                            url.host() == endpoint.host() && portOf(url) == portOf(endpoint);
    if (!sameOrigin)
        return std::nullopt;
    return url;
}

template <typename T>
PredictionClient::Outcome<T> failure(TranscriptionFailure reason)
{
    return Failure{std::move(reason)};
}

QString statusText(int status)
{
    return QString::number(status);
}

} // namespace

PredictionClient::PredictionClient(QString apiKey, QString modelVersion, HttpClient& http, Pause pause)
    : apiKey_(std::move(apiKey))
    , modelVersion_(std::move(modelVersion))
    , http_(&http)
    , pause_(std::move(pause))
{}

async::Task<PredictionClient::Outcome<QUrl>> PredictionClient::createPrediction(QByteArray audioDataURI) const
{
    const QUrl endpoint = predictionsEndpoint();
    HttpRequest creation = request("POST", endpoint, kCreationTimeOut);
    creation.headers.push_back({"Content-Type", "application/json"});
    auto build = [version = modelVersion_, audio = std::move(audioDataURI)] {
        return predictionBody(version, audio);
    };
    creation.body = co_await async::onWorker(std::move(build));

    const auto exchanged = co_await exchange(std::move(creation));
    if (!exchanged)
        co_return failure<QUrl>(exchanged.error());
    const Reply& reply = exchanged.value();
    log(QStringLiteral("Create prediction response status=") + statusText(reply.status) +
        QStringLiteral(" body=") + reply.body);
    if (reply.status != kStatusOK && reply.status != kStatusCreated)
        co_return failure<QUrl>(TranscriptionError::httpError(reply.status, reply.body));
    const auto url = pollUrl(reply.object.value_or(QJsonObject()), endpoint);
    if (!url)
        co_return failure<QUrl>(TranscriptionError::invalidResponse());
    co_return *url;
}

async::Task<PredictionClient::Outcome<QString>> PredictionClient::pollForResult(QUrl url) const
{
    for (int pollCounter = 0;; ++pollCounter) {
        co_await pause_(kPollPause);
        const auto exchanged = co_await exchange(request("GET", url, kPollTimeOut));
        if (!exchanged)
            co_return failure<QString>(exchanged.error());
        const Reply& reply = exchanged.value();
        if (reply.status < kStatusOK || reply.status >= kFirstStatusAfterSuccess) {
            log(QStringLiteral("Poll response status=") + statusText(reply.status) +
                QStringLiteral(" body=") + reply.body);
            co_return failure<QString>(TranscriptionError::httpError(reply.status, reply.body));
        }
        if (!reply.object) {
            log(QStringLiteral("Poll invalid response body=") + reply.body);
            co_return failure<QString>(TranscriptionError::invalidResponse());
        }
        const QString status =
            reply.object->value(QStringLiteral("status")).toString(QStringLiteral("unknown"));
        log(QStringLiteral("Prediction status=") + status);
        const bool ended = status == QStringLiteral("succeeded") || status == QStringLiteral("failed") ||
                           status == QStringLiteral("canceled");
        if (ended)
            co_return resultOf(status, reply);
        if (pollCounter == kPolls - 1) {
            log(QStringLiteral("Prediction polling timed out url=") + url.toString(QUrl::FullyEncoded));
            co_return failure<QString>(TranscriptionError::timeout());
        }
    }
}

PredictionClient::Outcome<QString> PredictionClient::resultOf(const QString& status, const Reply& reply) const
{
    if (status == QStringLiteral("succeeded")) {
        log(QStringLiteral("Prediction succeeded body=") + reply.body);
        return extractOutputText(reply.object->value(QStringLiteral("output"))).value_or(QString());
    }
    const QString error = withoutSecret(
        reply.object->value(QStringLiteral("error")).toString(QStringLiteral("Unknown error")), apiKey_);
    log(QStringLiteral("Prediction ended status=") + status + QStringLiteral(" error=") + error +
        QStringLiteral(" body=") + reply.body);
    return failure<QString>(TranscriptionError::predictionFailed(error));
}

async::Task<Result<PredictionClient::Reply, HttpError>> PredictionClient::exchange(HttpRequest request) const
{
    auto fetched = co_await fetchWhole(*http_, std::move(request));
    if (!fetched)
        co_return Failure{fetched.error()};

    // The service may repeat the whole recording in its replies, so even reading them is a worker's.
    auto digest = [reply = std::move(fetched.value()), key = apiKey_] {
        const QJsonDocument document = QJsonDocument::fromJson(reply.body);
        return Reply{reply.head.status, stringBody(reply.body, key),
                     document.isObject() ? std::optional(document.object()) : std::nullopt};
    };
    co_return co_await async::onWorker(std::move(digest));
}

HttpRequest PredictionClient::request(const QByteArray& method, const QUrl& url,
                                      std::chrono::milliseconds timeOut) const
{
    HttpRequest result;
    result.method = method;
    result.url = url;
    result.headers = {{"Authorization", "Bearer " + apiKey_.toUtf8()}};
    result.idleTimeout = timeOut;
    result.totalTimeout = timeOut;
    return result;
}

void PredictionClient::log(const QString& message) const
{
    DebugLog::log(QStringLiteral("Replicate"), withoutSecret(message, apiKey_));
}

} // namespace velmo
