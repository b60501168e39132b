#pragma once

#include "core/Clock.h"
#include "platform/HttpClient.h"

#include <atomic>
#include <curl/curl.h>
#include <memory>
#include <optional>

namespace velmo {

class SystemProxies;

/// One request and its response. Everything but cancelled() belongs to the network thread.
class CurlTransfer : public std::enable_shared_from_this<CurlTransfer> {
public:
    using MakeBody = std::function<std::unique_ptr<HttpBody>(std::shared_ptr<CurlTransfer>)>;

    CurlTransfer(HttpRequest request, HttpClient::HeadHandler onHead, MakeBody makeBody);
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;
    ~CurlTransfer();

    /// Why this client will not send the request at all.
    [[nodiscard]] std::optional<HttpError> refusal() const;
    /// Makes the handle ready to be added; also for another start after a failure that sent nothing.
    void prepare(SystemProxies& proxies);

    [[nodiscard]] CURL* handle() const { return handle_; }
    [[nodiscard]] const HttpRequest& request() const { return request_; }

    /// Any thread: from now on no callback starts any more.
    void markCancelled() { cancelled_ = true; }
    [[nodiscard]] bool isCancelled() const { return cancelled_; }

    [[nodiscard]] bool hasHead() const { return headDelivered_; }
    /// When the nearest of our own limits strikes; while waiting for a network only the one for the whole
    /// counts.
    [[nodiscard]] Clock::TimePoint deadline(bool waitingForNetwork) const;

    /// What a finished handle means; nothing for success.
    [[nodiscard]] std::optional<HttpError> errorFor(CURLcode code) const;
    /// The end, once: of the exchange if there is no head yet, else of the body.
    void finish(std::optional<HttpError> error);
    [[nodiscard]] bool isFinished() const { return finished_; }

    void attach(HttpBody::Consumer consumer, HttpBody::EndHandler onEnd);

private:
    static size_t onHeaderLine(char* data, size_t size, size_t count, void* self);
    static size_t onBytes(char* data, size_t size, size_t count, void* self);
    static int onProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent);
    void setOptions();
    void setProxy(SystemProxies& proxies);
    void addHeaderLine(QByteArrayView line);
    void deliverHead();
    void endBody();

    HttpRequest request_;
    HttpClient::HeadHandler onHead_;
    MakeBody makeBody_;
    CURL* handle_ = nullptr; ///< From the first start on.
    curl_slist* headerList_ = nullptr;
    std::array<char, CURL_ERROR_SIZE> errorText_{};

    std::atomic<bool> cancelled_{false};
    Clock::TimePoint startedAt_;
    Clock::TimePoint lastByteAt_;
    curl_off_t bytesSent_ = 0;

    HttpHead head_;
    bool headDelivered_ = false;
    bool finished_ = false;
    QByteArray earlyBytes_; ///< What came before anybody read.
    std::optional<HttpError> endError_;
    HttpBody::Consumer consumer_;
    HttpBody::EndHandler onEnd_;
};

} // namespace velmo
