#include "platform/linux/CurlTransfer.h"

#include "core/Loopback.h"
#include "platform/linux/CurlErrors.h"
#include "platform/linux/CurlLibrary.h"
#include "platform/linux/SystemProxies.h"

#include <algorithm>

namespace velmo {

namespace {

constexpr long kReceiveBufferBytes = 64L * 1024;

bool environmentNamesProxy()
{
    constexpr std::array kNames{"https_proxy", "HTTPS_PROXY", "http_proxy", "all_proxy", "ALL_PROXY"};
    return std::any_of(kNames.begin(), kNames.end(),
                       [](const char* name) { return !qEnvironmentVariableIsEmpty(name); });
}

} // namespace

CurlTransfer::CurlTransfer(HttpRequest request, HttpClient::HeadHandler onHead, MakeBody makeBody)
    : request_(std::move(request))
    , onHead_(std::move(onHead))
    , makeBody_(std::move(makeBody))
{}

CurlTransfer::~CurlTransfer()
{
    if (handle_ == nullptr)
        return; // Then the library may not even be there.
    curl_easy_cleanup(handle_);
    curl_slist_free_all(headerList_);
}

std::optional<HttpError> CurlTransfer::refusal() const
{
    const QUrl& url = request_.url;
    const bool secure = url.scheme() == QStringLiteral("https");
    if (!url.isValid() || url.host().isEmpty() || (!secure && url.scheme() != QStringLiteral("http")))
        return HttpError{HttpErrorKind::Unsupported,
                         QStringLiteral("The service's address is not a web address.")};
    if (!secure && !isLoopbackHost(url.host()))
        return HttpError{
            HttpErrorKind::Unsupported,
            QStringLiteral("The service's address must begin with https: plain http is only used on "
                           "this computer.")};
    const auto breaksItsLine = [](const HttpHeader& header) {
        return header.value.contains('\r') || header.value.contains('\n');
    };
    // libcurl would send it as it is, and the rest would be read as further headers or as the body.
    if (std::any_of(request_.headers.begin(), request_.headers.end(), breaksItsLine))
        return HttpError{HttpErrorKind::Unsupported,
                         QStringLiteral("A header of the request, such as the key, contains a line break.")};
    return std::nullopt;
}

void CurlTransfer::prepare(SystemProxies& proxies)
{
    head_ = {};
    errorText_.fill('\0');
    lastByteAt_ = Clock::now();
    bytesSent_ = 0;
    if (handle_ != nullptr)
        return;
    startedAt_ = Clock::now(); // What the library took to load is not the service's doing.
    handle_ = curl_easy_init();
    setOptions();
    setProxy(proxies);
}

void CurlTransfer::setOptions()
{
    for (const HttpHeader& header : request_.headers)
        headerList_ = curl_slist_append(headerList_, (header.name + ": " + header.value).constData());
    // Without these, libcurl adds headers of its own; the first would also delay large bodies by a second.
    for (const char* unwanted : {"Expect:", "Accept:", "User-Agent:"})
        headerList_ = curl_slist_append(headerList_, unwanted);

    const auto set = [this](CURLoption option, auto value) { curl_easy_setopt(handle_, option, value); };
    set(CURLOPT_URL, request_.url.toEncoded().constData());
    set(CURLOPT_HTTPHEADER, headerList_);
    if (request_.method == "POST") {
        set(CURLOPT_POST, 1L);
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body.size()));
        set(CURLOPT_POSTFIELDS, request_.body.constData());
    } else {
        set(CURLOPT_HTTPGET, 1L);
    }
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
    set(CURLOPT_FOLLOWLOCATION, 0L); // A redirect would carry the key to another host.
    set(CURLOPT_ACCEPT_ENCODING, "identity");
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_QUICK_EXIT, 1L); // Otherwise ending waits for a hung name look-up.
    set(CURLOPT_BUFFERSIZE, kReceiveBufferBytes);
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    if (const QByteArray roots = qgetenv("SSL_CERT_FILE"); !roots.isEmpty())
        set(CURLOPT_CAINFO, roots.constData());

    set(CURLOPT_ERRORBUFFER, errorText_.data());
    set(CURLOPT_HEADERFUNCTION, &CurlTransfer::onHeaderLine);
    set(CURLOPT_HEADERDATA, static_cast<void*>(this));
    set(CURLOPT_WRITEFUNCTION, &CurlTransfer::onBytes);
    set(CURLOPT_WRITEDATA, static_cast<void*>(this));
    set(CURLOPT_XFERINFOFUNCTION, &CurlTransfer::onProgress);
    set(CURLOPT_XFERINFODATA, static_cast<void*>(this));
    set(CURLOPT_NOPROGRESS, 0L);
}

void CurlTransfer::setProxy(SystemProxies& proxies)
{
    if (isLoopbackHost(request_.url.host())) {
        curl_easy_setopt(handle_, CURLOPT_PROXY, "");
        return;
    }
    if (environmentNamesProxy())
        return; // libcurl reads those itself, with the exceptions that go with them.
    if (const QByteArray proxy = proxies.proxyFor(request_.url); !proxy.isEmpty())
        curl_easy_setopt(handle_, CURLOPT_PROXY, proxy.constData());
}

Clock::TimePoint CurlTransfer::deadline(bool waitingForNetwork) const
{
    const auto whole = startedAt_ + request_.totalTimeout;
    return waitingForNetwork ? whole : std::min(whole, lastByteAt_ + request_.idleTimeout);
}

std::optional<HttpError> CurlTransfer::errorFor(CURLcode code) const
{
    if (code == CURLE_OK)
        return std::nullopt;
    long systemError = 0;
    curl_easy_getinfo(handle_, CURLINFO_OS_ERRNO, &systemError);
    const char* detail = errorText_[0] != '\0' ? errorText_.data() : curl_easy_strerror(code);
    return httpErrorFromCurl(code, static_cast<int>(systemError), QString::fromUtf8(detail),
                             request_.url.host());
}

size_t CurlTransfer::onHeaderLine(char* data, size_t size, size_t count, void* self)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    transfer.lastByteAt_ = Clock::now();
    transfer.addHeaderLine(QByteArrayView(data, static_cast<qsizetype>(size * count)).trimmed());
    return size * count;
}

void CurlTransfer::addHeaderLine(QByteArrayView line)
{
    if (line.startsWith("HTTP/") && !headDelivered_) {
        head_ = {}; // An interim head (100, 103) came before.
        return;
    }
    if (!line.isEmpty()) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0)
            head_.headers.push_back(
                {line.first(colon).toByteArray(), line.sliced(colon + 1).trimmed().toByteArray()});
        return;
    }
    long status = 0;
    curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status);
    constexpr long kFirstFinalStatus = 200;
    if (status >= kFirstFinalStatus && !headDelivered_) {
        head_.status = static_cast<int>(status);
        deliverHead();
    }
}

void CurlTransfer::deliverHead()
{
    headDelivered_ = true;
    if (cancelled_)
        return;
    onHead_(HttpResponse{head_, makeBody_(shared_from_this())});
    onHead_ = nullptr;
}

size_t CurlTransfer::onBytes(char* data, size_t size, size_t count, void* self)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    transfer.lastByteAt_ = Clock::now();
    const QByteArrayView bytes(data, static_cast<qsizetype>(size * count));
    if (transfer.cancelled_)
        return CURL_WRITEFUNC_ERROR;
    if (transfer.consumer_)
        transfer.consumer_(bytes);
    else
        transfer.earlyBytes_.append(bytes);
    return size * count;
}

int CurlTransfer::onProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    if (sent != transfer.bytesSent_) {
        transfer.bytesSent_ = sent;
        transfer.lastByteAt_ = Clock::now();
    }
    return 0;
}

void CurlTransfer::finish(std::optional<HttpError> error)
{
    if (std::exchange(finished_, true))
        return;
    if (!headDelivered_) {
        if (!cancelled_)
            onHead_(
                Failure{error.value_or(HttpError{HttpErrorKind::Other, QStringLiteral("No answer came.")})});
        onHead_ = nullptr;
        return;
    }
    endError_ = std::move(error);
    if (onEnd_)
        endBody();
}

void CurlTransfer::attach(HttpBody::Consumer consumer, HttpBody::EndHandler onEnd)
{
    consumer_ = std::move(consumer);
    onEnd_ = std::move(onEnd);
    if (!earlyBytes_.isEmpty() && !cancelled_)
        consumer_(std::exchange(earlyBytes_, {}));
    if (finished_)
        endBody();
}

void CurlTransfer::endBody()
{
    // Both may own what owns this body, so they go with the last call.
    const auto onEnd = std::exchange(onEnd_, nullptr);
    consumer_ = nullptr;
    if (!cancelled_)
        onEnd(std::move(endError_));
}

} // namespace velmo
