#include "updates/UpdateFeed.h"

#include "updates/Ed25519.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace velmo {

namespace {

using ErrorKind = UpdateFeedError::Kind;

Failure<UpdateFeedError> failure(ErrorKind kind, const QString& description = {})
{
    return Failure{UpdateFeedError{kind, description}};
}

/// Nothing that would lead somewhere else than it seems to, or over an unprotected connection.
bool isSafeAddress(const QUrl& url)
{
    return url.isValid() && url.scheme() == QStringLiteral("https") && !url.host().isEmpty() &&
           url.userInfo().isEmpty();
}

/// The whole text as a version, "1.2.3"; null if it is anything else.
QVersionNumber versionFrom(const QString& text)
{
    qsizetype end = 0;
    QVersionNumber version = QVersionNumber::fromString(text, &end);
    return end == text.size() ? version : QVersionNumber();
}

} // namespace

UpdateSource UpdateSource::builtIn()
{
    return fromText(QStringLiteral(VELMO_UPDATE_FEED), VELMO_UPDATE_KEY);
}

UpdateSource UpdateSource::fromText(const QString& feed, const QByteArray& key)
{
    const UpdateSource source{
        QUrl(feed, QUrl::StrictMode),
        QByteArray::fromBase64Encoding(key, QByteArray::AbortOnBase64DecodingErrors).decoded};
    // Over an open connection somebody could hold announcements back until they expire.
    return isSafeAddress(source.feed) && source.isConfigured() ? source : UpdateSource();
}

bool UpdateSource::isConfigured() const
{
    return !feed.isEmpty() && publicKey.size() == kEd25519KeyLength;
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
        return failure(ErrorKind::Unsigned);
    const auto verdict = verifyEd25519(publicKey, feed, decoded.decoded);
    if (!verdict)
        return failure(ErrorKind::Unverified, verdict.error());
    if (verdict.value() != SignatureVerdict::Right)
        return failure(ErrorKind::Tampered);

    const QJsonDocument document = QJsonDocument::fromJson(feed);
    if (!document.isObject())
        return failure(ErrorKind::Malformed);
    const QJsonObject object = document.object();
    const QVersionNumber version = versionFrom(object.value(QStringLiteral("version")).toString());
    const QUrl page(object.value(QStringLiteral("page")).toString(), QUrl::StrictMode);
    const QDateTime expires =
        QDateTime::fromString(object.value(QStringLiteral("expires")).toString(), Qt::ISODate);
    if (version.isNull() || !isSafeAddress(page) || !expires.isValid() || expires.timeSpec() == Qt::LocalTime)
        return failure(ErrorKind::Malformed);
    return UpdateFeed{version, page, expires};
}

} // namespace velmo
