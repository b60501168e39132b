// The check where the machine itself is in the way, so in a program of its own.

#include "support/core/AbsentLibrary.h"
#include "support/core/EmptyNetwork.h"
#include "support/updates/SigningKey.h"

#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace velmo {

namespace {

using test::feedText;
namespace EmptyNetwork = test::EmptyNetwork;

class UpdateTrouble : public testing::Test {
protected:
    UpdateTrouble()
    {
        // A proxy would be asked in place of the network.
        for (const char* name : {"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"})
            environment_.remove(QString::fromLatin1(name));
    }
    void SetUp() override { ASSERT_TRUE(folder_.isValid()); }

    /// What the user reads in the end.
    [[nodiscard]] std::string run(const QString& program, const QStringList& arguments) const
    {
        QProcess process;
        process.setProcessEnvironment(environment_);
        process.start(program, arguments);
        EXPECT_TRUE(process.waitForFinished()) << process.errorString().toStdString();
        EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
        return process.readAllStandardOutput().trimmed().toStdString();
    }

    /// Of an announcement that has come whole and rightly signed.
    [[nodiscard]] std::string judge() const
    {
        const QByteArray feed = feedText("0.2");
        return run(kProgram, {publicKey(), QString::fromLatin1(feed), QString::fromLatin1(key_.sign(feed))});
    }
    [[nodiscard]] QString publicKey() const { return QString::fromLatin1(key_.publicKey().toBase64()); }

    static inline const QString kProgram = QStringLiteral(VELMO_UPDATE_LOOK);

    test::SigningKey key_;
    QTemporaryDir folder_;
    QProcessEnvironment environment_ = QProcessEnvironment::systemEnvironment();
};

TEST_F(UpdateTrouble, SaysThatThereIsNoNetwork)
{
    if (!EmptyNetwork::isPossible({QStringLiteral("true")}))
        GTEST_SKIP() << "no network can be made for this test";
    EXPECT_EQ(
        run(EmptyNetwork::kProgram,
            EmptyNetwork::arguments({kProgram, publicKey(), QStringLiteral("https://192.0.2.1/feed.json")})),
        "This computer is not connected to the internet. You have Velmo 0.1.0.");
}

TEST_F(UpdateTrouble, WithoutTheLibraryForSignaturesItSaysWhatToInstall)
{
    EXPECT_EQ(judge(), "You have Velmo 0.1.0.") << "it is one that is offered";
    test::makeAbsent(QStringLiteral("libcrypto.so.3"), folder_.path(), environment_);
    EXPECT_EQ(judge(),
              "The library libcrypto.so.3 is missing: install it, and start Velmo again. You have Velmo "
              "0.1.0.");
}

TEST_F(UpdateTrouble, ALibraryThatMayNotCheckSuchSignaturesIsNoTampering)
{
    QFile configuration(folder_.filePath(QStringLiteral("openssl.cnf")));
    ASSERT_TRUE(configuration.open(QIODevice::WriteOnly));
    configuration.write("openssl_conf = start\n[start]\nalg_section = algorithms\n"
                        "[algorithms]\ndefault_properties = fips=yes\n");
    configuration.close();
    environment_.insert(QStringLiteral("OPENSSL_CONF"), configuration.fileName());
    EXPECT_EQ(judge(), "This computer's OpenSSL does not check signatures of the kind Ed25519. You have "
                       "Velmo 0.1.0.");
}

TEST_F(UpdateTrouble, WithoutTheLibraryForRequestsItSaysWhatToInstall)
{
    test::makeAbsent(QStringLiteral("libcurl.so.4"), folder_.path(), environment_);
    EXPECT_EQ(
        run(kProgram, {publicKey(), QStringLiteral("https://127.0.0.1:9/feed.json")}),
        "The library libcurl.so.4 is missing: install it, and start Velmo again. You have Velmo 0.1.0.");
}

} // namespace

} // namespace velmo
