#include "support/practice/Certificates.h"
#include "support/providers/Fetch.h"
#include "support/providers/ProviderServerTest.h"

#include <QTemporaryDir>

namespace velmo {

namespace {

const QStringList kThisComputer{QStringLiteral("localhost"), QStringLiteral("127.0.0.1")};

} // namespace

class CurlTlsTest : public ProviderServerTest {
protected:
    void SetUp() override
    {
#ifdef __SANITIZE_THREAD__
        GTEST_SKIP()
            << "a program is started for the certificate, and the sanitizer loses track of threads then";
#endif
        ASSERT_TRUE(folder.isValid());
    }

    void serve(const QStringList& hostNames, bool expired = false)
    {
        const auto files = practice::makeSelfSignedCertificate(folder.path(), hostNames, expired);
        ASSERT_TRUE(files.has_value());
        certificate = QFile::encodeName(files->certificate);
        ASSERT_NE(server.start({.tlsCertificateFile = files->certificate, .tlsKeyFile = files->key}), 0);
        server.setScenario({.kind = practice::ScenarioKind::Pieces});
        pointAt(server.baseUrl());
    }

    void expectRefusal(Vendor vendor)
    {
        AnswerRun run(ask(vendor));
        ASSERT_TRUE(run.waitForEnd());
        EXPECT_TRUE(run.failureText().startsWith(QStringLiteral("No secure connection to 127.0.0.1: ")))
            << run.failureText().toStdString();
        EXPECT_EQ(log.take(),
                  lines(vendor, {kPreparing, kFirstAttempt, attemptFailed(1, false, run.failureText()),
                                 failed(run.failureText())}));
        EXPECT_EQ(server.requests().size(), 0) << "the key went to somebody unknown";
    }

    QTemporaryDir folder;
    QByteArray certificate;
    EnvironmentVariable roots{"SSL_CERT_FILE"};
};

TEST_F(CurlTlsTest, ACertificateThatNobodyVouchesForIsRefusedWithoutASecondTry)
{
    serve(kThisComputer);
    expectRefusal(Vendor::Anthropic);
    expectRefusal(Vendor::OpenAI);
}

TEST_F(CurlTlsTest, TheRootsThatTheEnvironmentNamesAreTrusted)
{
    serve(kThisComputer);
    roots.assign(certificate);
    for (const Vendor vendor : {Vendor::Anthropic, Vendor::OpenAI}) {
        AnswerRun run(ask(vendor));
        ASSERT_TRUE(run.waitForEnd());
        EXPECT_FALSE(run.failure().has_value()) << run.failureText().toStdString();
        EXPECT_EQ(run.pieces(), practice::PracticeServer::defaultPieces());
    }
    EXPECT_EQ(server.openedConnections(), 1) << "a connection is worth keeping here above all";
}

TEST_F(CurlTlsTest, ACertificateOfAnotherHostIsRefusedThoughItsRootIsTrusted)
{
    serve({QStringLiteral("api.example.com")});
    roots.assign(certificate);
    expectRefusal(Vendor::Anthropic);
}

TEST_F(CurlTlsTest, AnExpiredCertificateIsRefusedThoughItsRootIsTrusted)
{
    serve(kThisComputer, true);
    roots.assign(certificate);
    expectRefusal(Vendor::OpenAI);
}

TEST_F(CurlTlsTest, RootsThatCannotBeReadAreAFailureAndNotATrustInAll)
{
    serve(kThisComputer);
    roots.assign(QByteArray("/no/such/file.pem"));
    AnswerRun run(ask(Vendor::Anthropic));
    ASSERT_TRUE(run.waitForEnd());
    ASSERT_TRUE(run.failure().has_value());
    EXPECT_EQ(std::get<HttpError>(*run.failure()).kind, HttpErrorKind::Tls);
    EXPECT_EQ(server.requests().size(), 0);
}

TEST_F(CurlTlsTest, AServerThatSpeaksNoTlsIsATlsFailureOrALostConnection)
{
    ASSERT_NE(server.start(), 0);
    CurlHttpClient client;
    HttpRequest request;
    request.url = QUrl(QStringLiteral("https://127.0.0.1:") + QString::number(server.port()));
    const Fetch fetch(client, request);
    ASSERT_TRUE(fetch.waitForHead());
    ASSERT_TRUE(fetch.error().has_value());
    EXPECT_THAT(fetch.error()->kind, testing::AnyOf(HttpErrorKind::Tls, HttpErrorKind::ConnectionLost));
}

} // namespace velmo
