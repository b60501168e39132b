#include "support/practice/Certificates.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QProcess>
#include <QTemporaryDir>
#include <QtDebug>

namespace velmo::practice {

namespace {

constexpr int kProcessTimeoutMs = 20000;

bool runOpenssl(const QStringList& arguments)
{
    QProcess process;
    process.start(QStringLiteral("openssl"), arguments);
    if (!process.waitForFinished(kProcessTimeoutMs) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        qWarning().noquote() << "openssl failed:" << process.errorString()
                             << QString::fromLocal8Bit(process.readAllStandardError());
        return false;
    }
    return true;
}

bool writeText(const QString& fileName, const QString& text)
{
    QFile file(fileName);
    const QByteArray bytes = text.toUtf8();
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QString alternativeNames(const QStringList& hostNames)
{
    QStringList entries;
    for (const QString& name : hostNames) {
        const bool isAddress = !QHostAddress(name).isNull();
        entries.append((isAddress ? QStringLiteral("IP:") : QStringLiteral("DNS:")) + name);
    }
    return entries.join(QLatin1Char(','));
}

QString configuration(const QString& workDirectory, const QStringList& hostNames)
{
    return QStringLiteral("[ca]\n"
                          "default_ca = practice\n"
                          "[practice]\n"
                          "database = %1/index.txt\n"
                          "serial = %1/serial\n"
                          "new_certs_dir = %1\n"
                          "default_md = sha256\n"
                          "policy = anything\n"
                          "x509_extensions = extensions\n"
                          "[anything]\n"
                          "commonName = supplied\n"
                          "[req]\n"
                          "distinguished_name = name\n"
                          "prompt = no\n"
                          "[name]\n"
                          "commonName = %2\n"
                          "[extensions]\n"
                          "basicConstraints = critical,CA:TRUE\n"
                          "subjectKeyIdentifier = hash\n"
                          "subjectAltName = %3\n")
        .arg(workDirectory, hostNames.value(0, QStringLiteral("localhost")), alternativeNames(hostNames));
}

} // namespace

std::optional<CertificateFiles> makeSelfSignedCertificate(const QString& directory,
                                                          const QStringList& hostNames, bool expired)
{
    const QTemporaryDir work;
    const CertificateFiles files{.certificate = QDir(directory).filePath(QStringLiteral("certificate.pem")),
                                 .key = QDir(directory).filePath(QStringLiteral("key.pem"))};
    const QString configFile = work.filePath(QStringLiteral("practice.cnf"));
    const QString requestFile = work.filePath(QStringLiteral("request.pem"));
    const bool written = work.isValid() && writeText(configFile, configuration(work.path(), hostNames)) &&
                         writeText(work.filePath(QStringLiteral("index.txt")), QString()) &&
                         writeText(work.filePath(QStringLiteral("serial")), QStringLiteral("01\n"));
    if (!written) {
        qWarning() << "cannot write the files that a certificate is made from";
        return std::nullopt;
    }
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime start = expired ? now.addYears(-3) : now.addSecs(-3600);
    const QDateTime end = expired ? now.addYears(-2) : now.addDays(30);
    const QString format = QStringLiteral("yyyyMMddHHmmss'Z'");
    // `ca` rather than `req -x509`: only the former takes both dates in every version of the program.
    const bool made = runOpenssl({QStringLiteral("req"), QStringLiteral("-new"), QStringLiteral("-newkey"),
                                  QStringLiteral("ec"), QStringLiteral("-pkeyopt"),
                                  QStringLiteral("ec_paramgen_curve:prime256v1"), QStringLiteral("-nodes"),
                                  QStringLiteral("-config"), configFile, QStringLiteral("-keyout"), files.key,
                                  QStringLiteral("-out"), requestFile}) &&
                      runOpenssl({QStringLiteral("ca"), QStringLiteral("-batch"), QStringLiteral("-selfsign"),
                                  QStringLiteral("-notext"), QStringLiteral("-config"), configFile,
                                  QStringLiteral("-keyfile"), files.key, QStringLiteral("-in"), requestFile,
                                  QStringLiteral("-out"), files.certificate, QStringLiteral("-startdate"),
                                  start.toString(format), QStringLiteral("-enddate"), end.toString(format)});
    return made ? std::optional(files) : std::nullopt;
}

} // namespace velmo::practice
