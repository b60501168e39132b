#pragma once

#include "core/async/Task.h"
#include "platform/HttpClient.h"

#include <limits>

namespace velmo {

/// A whole response.
struct HttpReply {
    HttpHead head;
    QByteArray body;
    bool isTruncated = false; ///< There was more than was wanted.
};

/// Sends the request and waits for the whole response, or for as much of it as the limit allows; the rest is
/// not waited for. Cancelling the task ends the transfer. The client outlives the task. Main thread.
[[nodiscard]] async::Task<Result<HttpReply, HttpError>>
fetchWhole(HttpClient& http, HttpRequest request, qsizetype limit = std::numeric_limits<qsizetype>::max());

} // namespace velmo
