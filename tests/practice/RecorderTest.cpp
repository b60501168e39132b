#include "practice/Client.h"
#include "support/practice/PracticeServer.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <gmock/gmock.h>

namespace velmo::practice {

namespace {

class RecorderTest : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(directory_.isValid());
        ASSERT_NE(server_.start({.recordDirectory = directory_.filePath(QStringLiteral("new/records"))}), 0);
        server_.setScenario({.kind = ScenarioKind::Empty200});
    }

    /// Answers come after records are written, so one suffices as a signal.
    void exchange(const QByteArray& request)
    {
        Client client(server_.port());
        ASSERT_EQ(client.exchange(request).status, 200);
    }

    QByteArray fileContent(const QString& name)
    {
        QFile file(directory_.filePath(QStringLiteral("new/records/") + name));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
        return file.readAll();
    }

    QTemporaryDir directory_;
    PracticeServer server_;
};

TEST_F(RecorderTest, WritesRequestsWithoutKeys)
{
    exchange(post("/v1/messages", {{"X-Api-Key", "secret-one"}, {"Other", "shown"}}, "{\"model\": \"m\"}"));
    exchange(post("/v1/chat/completions", {{"authorization", "Bearer secret-two"}}, "plain text"));
    exchange(post("/binary", {}, "\xFF\xFE"));

    const QByteArray first = fileContent(QStringLiteral("001.json"));
    const QByteArray second = fileContent(QStringLiteral("002.json"));
    EXPECT_FALSE(first.contains("secret"));
    EXPECT_FALSE(second.contains("secret"));
    const QJsonObject record = QJsonDocument::fromJson(first).object();
    EXPECT_EQ(record[QStringLiteral("method")].toString(), QStringLiteral("POST"));
    EXPECT_EQ(record[QStringLiteral("path")].toString(), QStringLiteral("/v1/messages"));
    EXPECT_EQ(record[QStringLiteral("body")][QStringLiteral("model")].toString(), QStringLiteral("m"));
    const QJsonArray headers = record[QStringLiteral("headers")].toArray();
    EXPECT_EQ(headers[1], (QJsonArray{QStringLiteral("X-Api-Key"), QStringLiteral("***")}));
    EXPECT_EQ(headers[2], (QJsonArray{QStringLiteral("Other"), QStringLiteral("shown")}));
    EXPECT_EQ(QJsonDocument::fromJson(second)[QStringLiteral("body")].toString(),
              QStringLiteral("plain text"));
    EXPECT_EQ(QJsonDocument::fromJson(fileContent(QStringLiteral("003.json")))[QStringLiteral("bodyBase64")]
                  .toString(),
              QStringLiteral("//4="));
}

TEST_F(RecorderTest, WritesTheImagesAsTheyWereSent)
{
    const QByteArray png = QByteArray("\x89PNG\r\n\x1a\n") + "rest";
    const QByteArray webp("RIFF\x01\x01\x01\x01WEBPrest");
    const QByteArray jpeg("\xFF\xD8\xFFrest");
    const QByteArray messages =
        "{\"messages\": [{\"content\": [{\"source\": {\"media_type\": \"image/png\", \"data\": \"" +
        png.toBase64() + "\"}}, {\"source\": {\"media_type\": \"image/webp\", \"data\": \"" +
        webp.toBase64() + "\"}}]}]}";
    exchange(post("/v1/messages", {}, messages));
    exchange(post("/v1/chat/completions", {},
                  "{\"image_url\": {\"url\": \"data:image/jpeg;base64," + jpeg.toBase64() + "\"}}"));
    EXPECT_EQ(fileContent(QStringLiteral("001-image-1.png")), png);
    EXPECT_EQ(fileContent(QStringLiteral("001-image-2.webp")), webp);
    EXPECT_EQ(fileContent(QStringLiteral("002-image-1.jpg")), jpeg);
    EXPECT_EQ(QDir(directory_.filePath(QStringLiteral("new/records"))).entryList(QDir::Files).size(), 5);
}

TEST_F(RecorderTest, SaysWhenTheDirectoryCannotBeMade)
{
    PracticeServer other;
    EXPECT_EQ(other.start({.recordDirectory = QStringLiteral("/proc/nowhere/records")}), 0);
    EXPECT_TRUE(other.errorString().contains(QStringLiteral("/proc/nowhere/records")));
}

} // namespace

} // namespace velmo::practice
