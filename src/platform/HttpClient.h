#pragma once

#include "core/Result.h"

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace velmo {

/// The failures that callers tell apart. HTTP statuses are not failures here.
enum class HttpErrorKind {
    TimedOut,
    ConnectionLost,
    CannotConnectToHost,
    CannotFindHost,
    DnsLookupFailed,
    NotConnectedToInternet,
    Cancelled,
    Tls,
    Unsupported, ///< The address is not one that this client may talk to.
    Other,
};

struct HttpError {
    HttpErrorKind kind = HttpErrorKind::Other;
    QString description; ///< For users and the log; never holds a header's value.
};

struct HttpHeader {
    QByteArray name;
    QByteArray value;
};

struct HttpRequest {
    QByteArray method = "GET";
    QUrl url;
    std::vector<HttpHeader> headers; ///< Sent as they are; besides them only what HTTP itself demands.
    QByteArray body;
    std::chrono::milliseconds idleTimeout{180'000}; ///< Longest time without a byte in either direction.
    /// Longest time for the whole exchange, the wait for a network included.
    std::chrono::milliseconds totalTimeout{600'000};
};

struct HttpHead {
    int status = -1;
    std::vector<HttpHeader> headers;
};

/// A response's body, still arriving. Bytes that come before read() is called are kept. Destroying it before
/// its end cancels the transfer.
class HttpBody {
public:
    using Consumer = std::function<void(QByteArrayView bytes)>;
    using EndHandler = std::function<void(std::optional<HttpError>)>;

    virtual ~HttpBody() = default;

    /// Once. Both run on the client's network thread: the consumer for every run of bytes in order, then
    /// onEnd exactly once. Neither runs after the body was destroyed, save a call that is already under way.
    virtual void read(Consumer consumer, EndHandler onEnd) = 0;
};

struct HttpResponse {
    HttpHead head;
    std::unique_ptr<HttpBody> body;
};

/// A request that waits for its head. Destroying it cancels the request; after the head came it does nothing.
class HttpExchange {
public:
    virtual ~HttpExchange() = default;
};

/// Sends requests. Redirects are never followed and a request is never sent twice. Connections are reused.
/// Any thread.
class HttpClient {
public:
    using HeadHandler = std::function<void(Result<HttpResponse, HttpError>)>;

    virtual ~HttpClient() = default;

    /// Returns at once. onHead runs exactly once, on the network thread, unless the exchange is destroyed
    /// first.
    [[nodiscard]] virtual std::unique_ptr<HttpExchange> send(HttpRequest request, HeadHandler onHead) = 0;
};

} // namespace velmo
