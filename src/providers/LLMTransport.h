#pragma once

#include "core/Result.h"
#include "core/async/Task.h"
#include "platform/HttpClient.h"

#include <functional>
#include <memory>
#include <optional>

namespace velmo {

/// The way of every request to a model: one shared client and one policy of retries. No instances. Main
/// thread.
class LLMTransport {
public:
    LLMTransport() = delete;

    /// How to get the one client, at the first request. Before that request.
    static void installClient(std::function<std::shared_ptr<HttpClient>()> makeClient);
    /// At exit: cancels what is under way and forgets the client.
    static void shutDown();

    /// Sends the request and gives its head and body, whatever the status. A failure that a second try may
    /// mend is tried once more, after a second; each try is one request on the wire. `provider` is the log
    /// category.
    [[nodiscard]] static async::Task<Result<HttpResponse, HttpError>> bytes(HttpRequest request,
                                                                            QString provider);

    /// Reads a body to its end; the consumer runs on the network thread. Nothing if it ended well.
    [[nodiscard]] static async::Task<std::optional<HttpError>> consume(std::unique_ptr<HttpBody> body,
                                                                       HttpBody::Consumer consumer);

private:
    [[nodiscard]] static bool isRetryable(const HttpError& error);
};

} // namespace velmo
