#include "providers/AnswerProducer.h"

#include "core/DebugLog.h"
#include "core/Text.h"
#include "core/async/TaskScope.h"
#include "core/async/WorkerPool.h"
#include "providers/EventShape.h"
#include "providers/LLMTransport.h"
#include "providers/LineReader.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>

namespace velmo {

namespace {

constexpr int kStatusOK = 200;

/// Turns the body into pieces, on the network thread. All pieces of one read go to the reader as one batch.
class PieceExtractor {
public:
    PieceExtractor(std::function<std::optional<QString>(QByteArrayView)> processLine,
                   AnswerChannel::Writer writer)
        : events_(std::move(processLine))
        , lines_([this](QByteArrayView line) {
            if (auto piece = events_.pieceIn(line))
                batch_.push_back(std::move(*piece));
        })
        , writer_(std::move(writer))
    {}
    PieceExtractor(const PieceExtractor&) = delete;
    PieceExtractor& operator=(const PieceExtractor&) = delete;

    void feed(QByteArrayView bytes)
    {
        lines_.feed(bytes);
        deliver();
    }

    /// After the last feed(), on any thread: the number of pieces in all.
    qint64 finish()
    {
        lines_.finish();
        deliver();
        return count_;
    }

private:
    void deliver()
    {
        count_ += std::ssize(batch_);
        writer_.push(std::exchange(batch_, {}));
    }

    std::vector<QString> batch_;
    EventShape events_;
    LineReader lines_;
    AnswerChannel::Writer writer_;
    qint64 count_ = 0;
};

async::Task<std::optional<StreamFailure>> readErrorBody(HttpResponse response, QString category,
                                                        QString apiKey)
{
    const auto collected = std::make_shared<QByteArray>();
    HttpBody::Consumer collect = [collected](QByteArrayView bytes) { collected->append(bytes); };
    const auto failure = co_await LLMTransport::consume(std::move(response.body), std::move(collect));
    if (failure)
        co_return *failure;
    const QString body =
        withoutSecret(decodeUtf8(*collected).value_or(QStringLiteral("<non-utf8 body>")), apiKey);
    DebugLog::log(category, QStringLiteral("HTTP error status=") + QString::number(response.head.status) +
                                QStringLiteral(" body=") + body);
    co_return LLMError::httpError(response.head.status, body);
}

async::Task<std::optional<StreamFailure>> requestAnswer(AnswerJob job, AnswerChannel::Writer writer)
{
    auto build = [make = job.buildBody, messages = job.messages, prompt = job.systemPrompt] {
        return make(messages, prompt);
    };
    auto body = co_await async::onWorker(std::move(build));
    if (!body)
        co_return body.error();
    HttpRequest request = job.buildRequest();
    request.body = std::move(body.value());

    auto response = co_await LLMTransport::bytes(std::move(request), job.category);
    if (!response)
        co_return response.error();
    const int status = response.value().head.status;
    if (status != kStatusOK)
        co_return co_await readErrorBody(std::move(response.value()), job.category, job.apiKey);

    DebugLog::log(job.category, QStringLiteral("Streaming response started status=200"));
    const auto extractor = std::make_shared<PieceExtractor>(job.processLine, writer);
    HttpBody::Consumer extract = [extractor](QByteArrayView bytes) { extractor->feed(bytes); };
    const auto failure = co_await LLMTransport::consume(std::move(response.value().body), std::move(extract));
    if (failure)
        co_return *failure;
    DebugLog::log(job.category, QStringLiteral("Streaming response completed emittedChunks=") +
                                    QString::number(extractor->finish()));
    co_return std::nullopt;
}

async::Task<> produce(AnswerJob job, AnswerChannel::Writer writer)
{
    const bool imageAttached =
        std::any_of(job.messages.cbegin(), job.messages.cend(),
                    [](const LLMMessage& message) { return message.imageData.has_value(); });
    DebugLog::log(job.category, QStringLiteral("Preparing request model=") + job.model +
                                    QStringLiteral(" messages=") + QString::number(job.messages.size()) +
                                    QStringLiteral(" imageAttached=") + boolText(imageAttached));
    const QString category = job.category;
    const auto failure = co_await requestAnswer(std::move(job), writer);
    if (!failure) {
        writer.finish();
        co_return;
    }
    DebugLog::log(category, QStringLiteral("Streaming failed error=") + localizedDescription(*failure));
    writer.fail(*failure);
}

} // namespace

AnswerChannel::Reader produceAnswer(AnswerJob job)
{
    auto [writer, reader] = AnswerChannel::open();
    async::detachedTasks().start(produce(std::move(job), std::move(writer)));
    return std::move(reader);
}

std::optional<QJsonObject> eventObject(QByteArrayView line)
{
    constexpr QByteArrayView kPrefix("data: ");
    if (!line.startsWith(kPrefix))
        return std::nullopt;
    const QByteArrayView payload = line.sliced(kPrefix.size());
    if (payload == QByteArrayView("[DONE]"))
        return std::nullopt;
    const QJsonDocument document =
        QJsonDocument::fromJson(QByteArray::fromRawData(payload.data(), payload.size()));
    if (!document.isObject())
        return std::nullopt;
    return document.object();
}

} // namespace velmo
