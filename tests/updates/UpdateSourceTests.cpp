#include "support/updates/SigningKey.h"
#include "updates/UpdateFeed.h"

#include <QProcess>
#include <gtest/gtest.h>

namespace velmo {

namespace {

const QString kFeed = QStringLiteral("https://example.org/feed.json");

/// As somebody who builds the program writes it.
QByteArray keyText()
{
    return test::SigningKey().publicKey().toBase64();
}

/// Whether the build is refused, with these words.
std::string refusal(const QString& feed, const QByteArray& key)
{
    QProcess configuration;
    configuration.start(QStringLiteral(VELMO_CMAKE),
                        {QStringLiteral("-DVELMO_UPDATE_FEED=") + feed,
                         QStringLiteral("-DVELMO_UPDATE_KEY=") + QString::fromLatin1(key),
                         QStringLiteral("-P"), QStringLiteral(VELMO_UPDATE_SOURCE_CHECK)});
    EXPECT_TRUE(configuration.waitForFinished()) << configuration.errorString().toStdString();
    const QByteArray words = configuration.readAllStandardError().simplified();
    EXPECT_EQ(configuration.exitCode() != 0, !words.isEmpty()) << words.toStdString();
    return words.toStdString();
}

TEST(UpdateSource, IsWhatTheBuildWasTold)
{
    const test::SigningKey key;
    const auto source = UpdateSource::fromText(kFeed, key.publicKey().toBase64());
    EXPECT_TRUE(source.isConfigured());
    EXPECT_EQ(source.feed, QUrl(kFeed));
    EXPECT_EQ(source.publicKey, key.publicKey());
}

TEST(UpdateSource, OfThisBuildIsWholeOrNothing)
{
    const UpdateSource source = UpdateSource::builtIn();
    const bool isTold = !QByteArray(VELMO_UPDATE_FEED).isEmpty();
    EXPECT_EQ(source.isConfigured(), isTold);
    EXPECT_EQ(source.feed, QUrl(QStringLiteral(VELMO_UPDATE_FEED)));
    EXPECT_EQ(source.publicKey.toBase64(), QByteArray(VELMO_UPDATE_KEY));
}

TEST(UpdateSource, IsNothingWithoutAnAddressThatIsSafe)
{
    for (const char* feed : {"", "http://example.org/feed.json", "example.org/feed.json", "https://",
                             "https://a b/", "https://me@example.org/"})
        EXPECT_FALSE(UpdateSource::fromText(QString::fromLatin1(feed), keyText()).isConfigured()) << feed;
}

TEST(UpdateSource, AKeyOfTheWrongLengthIsNoKey)
{
    const QByteArray key = test::SigningKey().publicKey();
    for (const QByteArray& wrong : {QByteArray(), key.chopped(1), key + key.first(1)}) {
        EXPECT_FALSE((UpdateSource{QUrl(kFeed), wrong}.isConfigured())) << wrong.size();
        EXPECT_FALSE(UpdateSource::fromText(kFeed, wrong.toBase64()).isConfigured()) << wrong.size();
    }
    EXPECT_FALSE(UpdateSource::fromText(kFeed, key.toHex()).isConfigured());
    EXPECT_FALSE(UpdateSource::fromText(kFeed, '!' + key.toBase64()).isConfigured());
}

TEST(UpdateSource, ABuildThatCouldNeverCheckIsRefused)
{
    EXPECT_EQ(refusal({}, {}), "");
    EXPECT_EQ(refusal(kFeed, keyText()), "");
    const auto isAbout = [](const std::string& words, const char* setting) {
        return words.find(setting) != std::string::npos;
    };
    EXPECT_TRUE(isAbout(refusal(kFeed, {}), "VELMO_UPDATE_KEY"));
    EXPECT_TRUE(isAbout(refusal(kFeed, "c2hvcnQ="), "VELMO_UPDATE_KEY"));
    EXPECT_TRUE(isAbout(refusal(kFeed, keyText().replace(3, 1, "!")), "VELMO_UPDATE_KEY"));
    EXPECT_TRUE(isAbout(refusal({}, keyText()), "VELMO_UPDATE_FEED"));
    for (const char* feed :
         {"http://example.org/feed.json", "https://", "https://me@example.org/", "https://a b/",
          "https://[bad/", "https://a:99999/", "https://a:184467440737095516160/", "https://a:b/",
          "https://-a/", "https://a..b/", "https://a/%zz", "https://a/{b}", "https://a/feed.json#part"})
        EXPECT_TRUE(isAbout(refusal(QString::fromLatin1(feed), keyText()), "VELMO_UPDATE_FEED")) << feed;
    // What is let through has to be an address for the program, too.
    for (const char* feed : {"https://a:65535/", "https://a-b.example.org/x%20y/feed.json?of=1&as=2"}) {
        EXPECT_EQ(refusal(QString::fromLatin1(feed), keyText()), "") << feed;
        EXPECT_TRUE(UpdateSource::fromText(QString::fromLatin1(feed), keyText()).isConfigured()) << feed;
    }
}

} // namespace

} // namespace velmo
