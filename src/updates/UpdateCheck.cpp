#include "updates/UpdateCheck.h"

#include "core/Clock.h"
#include "platform/HttpFetch.h"

#include <algorithm>

namespace velmo {

namespace {

using Kind = UpdateOutcome::Kind;
using std::chrono::milliseconds;

constexpr milliseconds kTimeLimit{3000};
constexpr qsizetype kSizeLimit = qsizetype(64) * 1024;
constexpr int kStatusOK = 200;
constexpr int kStatusNotFound = 404;

UpdateOutcome outcome(Kind kind, const QString& description = {})
{
    UpdateOutcome result;
    result.kind = kind;
    result.description = description;
    return result;
}

UpdateOutcome refused(int status)
{
    UpdateOutcome result = outcome(Kind::Refused);
    result.status = status;
    return result;
}

UpdateOutcome networkOutcome(const HttpError& error)
{
    switch (error.kind) {
    case HttpErrorKind::TimedOut:
        return outcome(Kind::TimedOut);
    case HttpErrorKind::Tls:
        return outcome(Kind::UntrustedServer, error.description);
    case HttpErrorKind::NotConnectedToInternet:
        return outcome(Kind::Offline, error.description);
    case HttpErrorKind::Unsupported:
        return outcome(Kind::Unable, error.description);
    default:
        return outcome(Kind::Unreachable, error.description);
    }
}

HttpRequest requestFor(const QUrl& url, Clock::TimePoint deadline)
{
    HttpRequest request;
    request.url = url;
    // A timeout of zero would be none at all.
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
    request.totalTimeout = std::max(left, milliseconds{1});
    request.idleTimeout = request.totalTimeout;
    return request;
}

} // namespace

UpdateOutcome judgeUpdate(const UpdateSource& source, const QVersionNumber& current, const QByteArray& feed,
                          const QByteArray& signature, const QDateTime& now)
{
    const auto read = readUpdateFeed(feed, signature, source.publicKey);
    if (!read) {
        switch (read.error().kind) {
        case UpdateFeedError::Kind::Unsigned:
            return outcome(Kind::Unsigned);
        case UpdateFeedError::Kind::Unverified:
            return outcome(Kind::Unable, read.error().description);
        case UpdateFeedError::Kind::Tampered:
            return outcome(Kind::Tampered);
        case UpdateFeedError::Kind::Malformed:
            return outcome(Kind::Malformed);
        }
    }
    const UpdateFeed& latest = read.value();
    if (now >= latest.expires)
        return outcome(Kind::Expired);
    UpdateOutcome result = outcome(Kind::UpToDate);
    // Versions that only differ in zeros at the end are one and the same.
    const int order = QVersionNumber::compare(latest.version.normalized(), current.normalized());
    if (order > 0)
        result.kind = Kind::Newer;
    else if (order < 0)
        result.kind = Kind::Ahead;
    result.latest = latest.version;
    result.page = latest.page;
    return result;
}

async::Task<UpdateOutcome> checkForUpdate(UpdateSource source, QVersionNumber current, HttpClient& http)
{
    if (!source.isConfigured())
        co_return outcome(Kind::NotConfigured);
    const Clock::TimePoint deadline = Clock::now() + kTimeLimit;
    const auto feed = co_await fetchWhole(http, requestFor(source.feed, deadline), kSizeLimit);
    if (!feed)
        co_return networkOutcome(feed.error());
    if (feed.value().head.status != kStatusOK)
        co_return refused(feed.value().head.status);
    if (feed.value().isTruncated)
        co_return outcome(Kind::TooLarge);

    const auto signature = co_await fetchWhole(http, requestFor(source.signature(), deadline), kSizeLimit);
    if (!signature)
        co_return networkOutcome(signature.error());
    if (signature.value().head.status == kStatusNotFound)
        co_return outcome(Kind::Unsigned);
    if (signature.value().head.status != kStatusOK)
        co_return refused(signature.value().head.status);
    if (signature.value().isTruncated)
        co_return outcome(Kind::TooLarge);
    co_return judgeUpdate(source, current, feed.value().body, signature.value().body,
                          QDateTime::currentDateTimeUtc());
}

} // namespace velmo
