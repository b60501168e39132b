#include "platform/linux/CurlErrors.h"

#include <cerrno>
#include <netdb.h>

namespace velmo {

namespace {

HttpErrorKind kindOfConnectFailure(int systemError)
{
    switch (systemError) {
    case ENETUNREACH:
    case ENETDOWN:
        return HttpErrorKind::NotConnectedToInternet;
    case ETIMEDOUT:
        return HttpErrorKind::TimedOut;
    default:
        return HttpErrorKind::CannotConnectToHost;
    }
}

HttpErrorKind kindOf(CURLcode code, int systemError, const QString& detail)
{
    switch (code) {
    case CURLE_OPERATION_TIMEDOUT:
        return HttpErrorKind::TimedOut;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
        return HttpErrorKind::CannotFindHost;
    case CURLE_COULDNT_CONNECT:
        return kindOfConnectFailure(systemError);
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_SEND_ERROR:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
        return HttpErrorKind::ConnectionLost;
    case CURLE_RECV_ERROR: {
        // The same code also stands for bad chunks and oversized heads, which no second try would mend.
        const bool socketFailed = systemError != 0 || detail.startsWith(QStringLiteral("Recv failure")) ||
                                  detail.contains(QStringLiteral("SSL_read"));
        return socketFailed ? HttpErrorKind::ConnectionLost : HttpErrorKind::Other;
    }
    case CURLE_SSL_CONNECT_ERROR:
        return systemError == ECONNRESET || systemError == EPIPE ? HttpErrorKind::ConnectionLost
                                                                 : HttpErrorKind::Tls;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
        return HttpErrorKind::Tls;
    case CURLE_URL_MALFORMAT:
        return HttpErrorKind::Unsupported;
    default:
        return HttpErrorKind::Other;
    }
}

/// The library's words have no full stop, and what follows them is another sentence.
QString ended(const QString& detail)
{
    return detail.endsWith(u'.') ? detail : detail + u'.';
}

QString sentence(HttpErrorKind kind, const QString& detail, const QString& host)
{
    switch (kind) {
    case HttpErrorKind::TimedOut:
        return QStringLiteral("The request timed out.");
    case HttpErrorKind::ConnectionLost:
        return QStringLiteral("The network connection was lost.");
    case HttpErrorKind::CannotConnectToHost:
        return QStringLiteral("Could not connect to the server ") + host + u'.';
    case HttpErrorKind::CannotFindHost:
        return QStringLiteral("A server with the name ") + host + QStringLiteral(" could not be found.");
    case HttpErrorKind::DnsLookupFailed:
        return QStringLiteral("The name ") + host + QStringLiteral(" could not be looked up.");
    case HttpErrorKind::NotConnectedToInternet:
        return QStringLiteral("This computer is not connected to the internet.");
    case HttpErrorKind::Cancelled:
        return QStringLiteral("The request was cancelled.");
    case HttpErrorKind::Tls:
        return QStringLiteral("No secure connection to ") + host + QStringLiteral(": ") + ended(detail);
    case HttpErrorKind::Unsupported:
    case HttpErrorKind::Other:
        break;
    }
    return QStringLiteral("The request failed: ") + ended(detail);
}

} // namespace

HttpError httpErrorFromCurl(CURLcode code, int systemError, const QString& detail, const QString& host)
{
    const HttpErrorKind kind = kindOf(code, systemError, detail);
    return {kind, sentence(kind, detail, host)};
}

HttpError timeOutError()
{
    return {HttpErrorKind::TimedOut, sentence(HttpErrorKind::TimedOut, {}, {})};
}

HttpError noNetworkError()
{
    return {HttpErrorKind::NotConnectedToInternet, sentence(HttpErrorKind::NotConnectedToInternet, {}, {})};
}

HttpError nameResolutionError(const QString& host)
{
    addrinfo* addresses = nullptr;
    const int status = getaddrinfo(host.toUtf8().constData(), nullptr, nullptr, &addresses);
    if (status == 0)
        freeaddrinfo(addresses);
    const HttpErrorKind kind =
        status == EAI_AGAIN ? HttpErrorKind::DnsLookupFailed : HttpErrorKind::CannotFindHost;
    return {kind, sentence(kind, {}, host)};
}

} // namespace velmo
