#include "practice/Client.h"
#include "support/practice/Certificates.h"
#include "support/practice/PracticeServer.h"

#include <QDateTime>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslError>
#include <QSslSocket>
#include <QTemporaryDir>

#include <gmock/gmock.h>

namespace velmo::practice {

namespace {

using namespace std::chrono_literals;

class TlsTest : public testing::Test {
protected:
    void serve(const QStringList& hostNames, bool expired)
    {
        ASSERT_TRUE(directory_.isValid());
        const auto files = makeSelfSignedCertificate(directory_.path(), hostNames, expired);
        ASSERT_TRUE(files.has_value());
        certificateFile_ = files->certificate;
        ASSERT_NE(server_.start({.tlsCertificateFile = files->certificate, .tlsKeyFile = files->key}), 0);
        server_.setScenario({.kind = ScenarioKind::Pieces});
    }

    /// Handshakes as `hostName`, trusting the certificate of the server or nothing.
    bool connectAs(QSslSocket& socket, const QString& hostName, bool trusts)
    {
        QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
        configuration.setCaCertificates(trusts ? QSslCertificate::fromPath(certificateFile_)
                                               : QList<QSslCertificate>());
        socket.setSslConfiguration(configuration);
        socket.connectToHostEncrypted(QStringLiteral("127.0.0.1"), server_.port(), hostName);
        return socket.waitForEncrypted(5000);
    }

    QTemporaryDir directory_;
    QString certificateFile_;
    PracticeServer server_;
};

TEST_F(TlsTest, AnswersOverTls)
{
    serve({QStringLiteral("localhost"), QStringLiteral("127.0.0.1")}, false);
    EXPECT_TRUE(server_.baseUrl().startsWith(QStringLiteral("https://127.0.0.1:")));
    QSslSocket socket;
    ASSERT_TRUE(connectAs(socket, QStringLiteral("localhost"), true)) << socket.errorString().toStdString();
    socket.write(requestOf(Vendor::Chat));
    QByteArray raw;
    while (!raw.endsWith("0\r\n\r\n") && socket.waitForReadyRead(5000)) {
        raw += socket.readAll();
    }
    EXPECT_EQ(textsOf(parseAnswer(raw, false).body), PracticeServer::defaultPieces());
}

TEST_F(TlsTest, IsRefusedByClientsThatDoNotTrustIt)
{
    serve({QStringLiteral("localhost")}, false);
    QSslSocket socket;
    EXPECT_FALSE(connectAs(socket, QStringLiteral("localhost"), false));
    socket.abort();
    EXPECT_TRUE(server_.waitForClosedConnections(1, 5s));
    EXPECT_TRUE(server_.requests().isEmpty());
}

TEST_F(TlsTest, MakesCertificatesForOtherHosts)
{
    serve({QStringLiteral("elsewhere.example")}, false);
    QSslSocket socket;
    EXPECT_FALSE(connectAs(socket, QStringLiteral("localhost"), true));
    ASSERT_FALSE(socket.sslHandshakeErrors().isEmpty());
    EXPECT_EQ(socket.sslHandshakeErrors().first().error(), QSslError::HostNameMismatch);
}

TEST_F(TlsTest, MakesExpiredCertificates)
{
    serve({QStringLiteral("localhost")}, true);
    const QList<QSslCertificate> chain = QSslCertificate::fromPath(certificateFile_);
    ASSERT_EQ(chain.size(), 1);
    EXPECT_LT(chain[0].expiryDate(), QDateTime::currentDateTimeUtc().addYears(-1));
    EXPECT_LT(chain[0].effectiveDate(), chain[0].expiryDate());
    QSslSocket socket;
    EXPECT_FALSE(connectAs(socket, QStringLiteral("localhost"), true));
}

TEST_F(TlsTest, BreaksEncryptedConnectionsOff)
{
    serve({QStringLiteral("localhost")}, false);
    server_.enqueue({{.kind = ScenarioKind::ResetBeforeHead}, {.kind = ScenarioKind::DropBeforeHead}});
    for (int connection = 1; connection <= 2; ++connection) {
        QSslSocket socket;
        ASSERT_TRUE(connectAs(socket, QStringLiteral("localhost"), true));
        socket.write(requestOf(Vendor::Chat));
        EXPECT_FALSE(socket.waitForReadyRead(5000));
        EXPECT_EQ(socket.state(), QAbstractSocket::UnconnectedState);
        EXPECT_TRUE(server_.waitForClosedConnections(connection, 5s));
    }
    EXPECT_EQ(server_.requests().size(), 2);
}

TEST_F(TlsTest, SaysWhenTheFilesCannotBeRead)
{
    EXPECT_EQ(server_.start({.tlsCertificateFile = QStringLiteral("/nowhere.pem"),
                             .tlsKeyFile = QStringLiteral("/nowhere.pem")}),
              0);
    EXPECT_FALSE(server_.errorString().isEmpty());
}

} // namespace

} // namespace velmo::practice
