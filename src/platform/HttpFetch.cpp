#include "platform/HttpFetch.h"

#include "core/async/OneShot.h"

namespace velmo {

async::Task<Result<HttpReply, HttpError>> fetchWhole(HttpClient& http, HttpRequest request, qsizetype limit)
{
    const async::OneShot<Result<HttpResponse, HttpError>> head;
    const auto pending = http.send(std::move(request), [head](Result<HttpResponse, HttpError> result) {
        head.resolve(std::move(result));
    });
    auto response = co_await head.value();
    if (!response)
        co_return Failure{response.error()};

    // Written on the network thread until the end is told, and read on this one after that.
    const auto reply = std::make_shared<HttpReply>();
    reply->head = response.value().head;
    const async::OneShot<std::optional<HttpError>> end;
    response.value().body->read(
        [reply, limit, end](QByteArrayView piece) {
            if (reply->isTruncated)
                return;
            if (piece.size() > limit - reply->body.size()) {
                reply->isTruncated = true;
                end.resolve(std::nullopt);
                return;
            }
            reply->body.append(piece);
        },
        [end](std::optional<HttpError> error) { end.resolve(std::move(error)); });
    if (auto error = co_await end.value())
        co_return Failure{std::move(*error)};
    co_return std::move(*reply);
}

} // namespace velmo
