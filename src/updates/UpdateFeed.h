#pragma once

#include "core/Result.h"

#include <QByteArray>
#include <QDateTime>
#include <QUrl>
#include <QVersionNumber>

namespace velmo {

/// Where releases are announced, and whose word counts. Built into the program; empty where nobody announces.
struct UpdateSource {
    QUrl feed;
    QByteArray publicKey; ///< Raw Ed25519, 32 bytes.

    /// What this build was made with.
    [[nodiscard]] static UpdateSource builtIn();
    /// The key in base 64. Nothing is taken where either cannot be what it should be, or the address is not
    /// one over HTTPS.
    [[nodiscard]] static UpdateSource fromText(const QString& feed, const QByteArray& key);

    /// Whether there is an address, and a key that can be one.
    [[nodiscard]] bool isConfigured() const;
    /// The signature lies beside the feed: its address with ".sig" at the end of the path.
    [[nodiscard]] QUrl signature() const;
};

/// What the feed says about the latest release.
struct UpdateFeed {
    QVersionNumber version;
    QUrl page; ///< Over HTTPS.
    QDateTime
        expires; ///< From then on the feed is too old to be believed: somebody may hold newer ones back.
};

struct UpdateFeedError {
    enum class Kind {
        Unsigned,   ///< The signature is no signature at all.
        Unverified, ///< This machine cannot check signatures; the description says why.
        Tampered,   ///< The signature is not that of this feed by the right key.
        Malformed,
    };
    Kind kind = Kind::Malformed;
    QString description; ///< With Unverified: a sentence for the user.
};

/// Reads a feed: JSON with "version", "page" and "expires" (ISO 8601 with an offset), other keys being of no
/// concern. The signature is in base 64. Not a byte is interpreted before the signature has proved right.
[[nodiscard]] Result<UpdateFeed, UpdateFeedError>
readUpdateFeed(const QByteArray& feed, const QByteArray& signature, const QByteArray& publicKey);

} // namespace velmo
