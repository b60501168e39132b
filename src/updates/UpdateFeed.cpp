#include "updates/UpdateFeed.h"

#include "updates/Ed25519.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <optional>

namespace velmo {

namespace {

constexpr Failure kMalformed{UpdateFeedError::Malformed};

/// Nothing that would lead somewhere else than it seems to, or over an unprotected connection.
bool isPage(const QUrl& url)
{
    return url.isValid() && url.scheme() == QStringLiteral("https") && !url.host().isEmpty() &&
           url.userInfo().isEmpty();
}

/// The whole text as a version, "1.2.3"; nothing if it is anything else.
std::optional<QVersionNumber> versionFrom(const QString& text)
{
    qsizetype end = 0;
    const QVersionNumber version = QVersionNumber::fromString(text, &end);
    if (version.isNull() || end != text.size())
        return std::nullopt;
    return version;
}

} // namespace

UpdateSource UpdateSource::builtIn()
{
    const QUrl feed(QStringLiteral(VELMO_UPDATE_FEED), QUrl::StrictMode);
    // Over an open connection somebody could hold announcements back until they expire.
    if (feed.scheme() != QStringLiteral("https"))
        return {};
    return {feed, QByteArray::fromBase64(VELMO_UPDATE_KEY)};
}

QUrl UpdateSource::signature() const
{
    QUrl url = feed;
    url.setPath(feed.path() + QStringLiteral(".sig"));
    return url;
}

Result<UpdateFeed, UpdateFeedError> readUpdateFeed(const QByteArray& feed, const QByteArray& signature,
                                                   const QByteArray& publicKey)
{
    const auto decoded =
        QByteArray::fromBase64Encoding(signature.trimmed(), QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || decoded.decoded.isEmpty())
        return Failure{UpdateFeedError::Unsigned};
    if (!verifyEd25519(publicKey, feed, decoded.decoded))
        return Failure{UpdateFeedError::Tampered};

    const QJsonDocument document = QJsonDocument::fromJson(feed);
    if (!document.isObject())
        return kMalformed;
    const QJsonObject object = document.object();
    const auto version = versionFrom(object.value(QStringLiteral("version")).toString());
    const QUrl page(object.value(QStringLiteral("page")).toString(), QUrl::StrictMode);
    const QDateTime expires =
        QDateTime::fromString(object.value(QStringLiteral("expires")).toString(), Qt::ISODate);
    if (!version || !isPage(page) || !expires.isValid() || expires.timeSpec() == Qt::LocalTime)
        return kMalformed;
    return UpdateFeed{*version, page, expires};
}

} // namespace velmo
