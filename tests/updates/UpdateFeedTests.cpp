#include "support/updates/SigningKey.h"
#include "updates/Ed25519.h"
#include "updates/UpdateFeed.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace velmo {

namespace {

using test::feedText;
using test::SigningKey;
using ErrorKind = UpdateFeedError::Kind;

std::optional<ErrorKind> errorOf(const QByteArray& feed)
{
    const SigningKey key;
    const auto read = readUpdateFeed(feed, key.sign(feed), key.publicKey());
    return read ? std::nullopt : std::optional(read.error().kind);
}

TEST(UpdateFeed, IsReadWhenItsSignatureIsRight)
{
    const SigningKey key;
    const QByteArray feed = feedText("1.2.3");
    const auto read = readUpdateFeed(feed, key.sign(feed), key.publicKey());
    ASSERT_TRUE(read);
    EXPECT_EQ(read.value().version, QVersionNumber(1, 2, 3));
    EXPECT_EQ(read.value().page, QUrl(QStringLiteral("https://example.org/releases")));
    EXPECT_EQ(read.value().expires, QDateTime({2999, 1, 1}, {0, 0}, Qt::UTC));
}

TEST(UpdateFeed, IsNotReadWhenAnyOfItsBytesHasChanged)
{
    const SigningKey key;
    const QByteArray feed = feedText("1.2.3");
    const QByteArray signature = key.sign(feed);
    for (qsizetype at = 0; at < feed.size(); ++at) {
        QByteArray changed = feed;
        changed[at] = static_cast<char>(changed[at] ^ 1);
        const auto read = readUpdateFeed(changed, signature, key.publicKey());
        ASSERT_FALSE(read) << at;
        EXPECT_EQ(read.error().kind, ErrorKind::Tampered);
    }
    EXPECT_FALSE(readUpdateFeed(feed + '\n', signature, key.publicKey()));
    EXPECT_FALSE(readUpdateFeed(feed.chopped(1), signature, key.publicKey()));
}

TEST(UpdateFeed, IsNotReadWhenSomebodyElseHasSignedIt)
{
    const SigningKey key;
    const SigningKey other;
    const QByteArray feed = feedText("1.2.3");
    const auto read = readUpdateFeed(feed, other.sign(feed), key.publicKey());
    ASSERT_FALSE(read);
    EXPECT_EQ(read.error().kind, ErrorKind::Tampered);
}

TEST(UpdateFeed, IsUnsignedWithoutAnythingThatCouldBeASignature)
{
    const SigningKey key;
    const QByteArray feed = feedText("1.2.3");
    for (const QByteArray& signature :
         {QByteArray(), QByteArray("\n"), QByteArray("<html>Not found</html>")}) {
        const auto read = readUpdateFeed(feed, signature, key.publicKey());
        ASSERT_FALSE(read);
        EXPECT_EQ(read.error().kind, ErrorKind::Unsigned) << signature.toStdString();
    }
    const auto shortOne = readUpdateFeed(feed, "AAAA", key.publicKey());
    ASSERT_FALSE(shortOne);
    EXPECT_EQ(shortOne.error().kind, ErrorKind::Tampered);
}

TEST(UpdateFeed, IsMalformedWhereItDoesNotSayWhatIsNeeded)
{
    const QByteArrayList texts{
        "",
        "[]",
        "{",
        R"({"version": "1.2.3", "page": "https://example.org/"})",
        R"({"version": 1.2, "page": "https://example.org/", "expires": "2999-01-01T00:00:00Z"})",
        feedText(""),
        feedText("newest"),
        feedText("1.2.3-beta"),
        feedText("1.2.3", ""),
        feedText("1.2.3", "http://example.org/"),
        feedText("1.2.3", "file:///etc/passwd"),
        feedText("1.2.3", "javascript:alert(1)"),
        feedText("1.2.3", "https://"),
        feedText("1.2.3", "https://example.org@elsewhere.net/"),
        feedText("1.2.3", "https://example.org/", "soon"),
        feedText("1.2.3", "https://example.org/", "2999-01-01T00:00:00"),
    };
    for (const QByteArray& text : texts)
        EXPECT_EQ(errorOf(text), ErrorKind::Malformed) << text.toStdString();
    EXPECT_EQ(errorOf(feedText("1.2.3")), std::nullopt);
    EXPECT_EQ(errorOf(feedText("1.2.3", "https://example.org/", "2999-01-01T00:00:00+02:00")), std::nullopt);
}

TEST(UpdateFeed, IsReadWhenTheScriptForReleasesHasSignedIt)
{
    const QTemporaryDir folder;
    const QString key = folder.filePath(QStringLiteral("key.pem"));
    const QString path = folder.filePath(QStringLiteral("feed.json"));
    QFile feed(path);
    ASSERT_TRUE(feed.open(QIODevice::WriteOnly));
    feed.write(feedText("1.2.3"));
    feed.close();
    ASSERT_EQ(QProcess::execute(QStringLiteral("openssl"),
                                {QStringLiteral("genpkey"), QStringLiteral("-algorithm"),
                                 QStringLiteral("ed25519"), QStringLiteral("-out"), key}),
              0);
    QProcess script;
    script.start(QStringLiteral(VELMO_SCRIPTS "/sign-feed"), {path, key});
    ASSERT_TRUE(script.waitForFinished());
    ASSERT_EQ(script.exitCode(), 0) << script.readAllStandardError().toStdString();
    const QByteArray said = script.readAllStandardOutput().trimmed();
    ASSERT_TRUE(said.startsWith("public key: ")) << said.toStdString();
    const QByteArray publicKey = QByteArray::fromBase64(said.mid(12));

    QFile signature(path + QStringLiteral(".sig"));
    ASSERT_TRUE(signature.open(QIODevice::ReadOnly));
    EXPECT_TRUE(readUpdateFeed(feedText("1.2.3"), signature.readAll(), publicKey));
}

TEST(UpdateFeed, ItsSignatureLiesBesideIt)
{
    const UpdateSource source{QUrl(QStringLiteral("https://example.org/velmo/feed.json?from=velmo")), "key"};
    EXPECT_EQ(source.signature(), QUrl(QStringLiteral("https://example.org/velmo/feed.json.sig?from=velmo")));
}

TEST(Ed25519, RefusesWhatIsNotAKeyOrASignature)
{
    const SigningKey key;
    const QByteArray signature = QByteArray::fromBase64(key.sign("message"));
    const auto isRight = [](const QByteArray& publicKey, const QByteArray& given) {
        return verifyEd25519(publicKey, "message", given).value() == SignatureVerdict::Right;
    };
    EXPECT_TRUE(isRight(key.publicKey(), signature));
    EXPECT_FALSE(isRight({}, signature));
    EXPECT_FALSE(isRight(key.publicKey().chopped(1), signature));
    EXPECT_FALSE(isRight(QByteArray(32, '\0'), signature));
    EXPECT_FALSE(isRight(key.publicKey(), {}));
    EXPECT_FALSE(isRight(key.publicKey(), signature + '\0'));
}

} // namespace

} // namespace velmo
