#include "support/practice/Listener.h"

#include "support/practice/Connection.h"

#include <QFile>
#include <QHostAddress>
#include <QSsl>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslSocket>

#include <array>

namespace velmo::practice {

namespace {

QByteArray contentOf(const QString& fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QSslKey keyIn(const QByteArray& pem)
{
    for (const QSsl::KeyAlgorithm algorithm : std::array{QSsl::Ec, QSsl::Rsa}) {
        QSslKey key(pem, algorithm);
        if (!key.isNull()) {
            return key;
        }
    }
    return {};
}

} // namespace

Listener::Listener(const ServerOptions& options, ServerState& state)
    : options_(options)
    , state_(state)
    , service_({.scheme = options.tlsCertificateFile.isEmpty() ? "http" : "https",
                .pieceDelay = options.pieceDelay,
                .redRule = options.redRule})
    , recorder_(options.recordDirectory)
{}

Listener::~Listener()
{
    close();
    // The connections refer to members of this object, so they go before those, not with the base class.
    const QObjectList connections = children();
    for (QObject* child : connections) {
        if (dynamic_cast<Connection*>(child) != nullptr) {
            delete child;
        }
    }
}

ListenResult Listener::start()
{
    if (!recorder_.prepare()) {
        return {.error = QStringLiteral("cannot create the directory %1").arg(options_.recordDirectory)};
    }
    const QString tlsError = loadTls();
    if (!tlsError.isEmpty()) {
        return {.error = tlsError};
    }
    if (!listen(QHostAddress::LocalHost, options_.port)) {
        return {.error = errorString()};
    }
    return {.port = serverPort(), .error = {}};
}

QString Listener::loadTls()
{
    if (options_.tlsCertificateFile.isEmpty()) {
        return {};
    }
    const QList<QSslCertificate> chain = QSslCertificate::fromData(contentOf(options_.tlsCertificateFile));
    const QSslKey key = keyIn(contentOf(options_.tlsKeyFile));
    if (chain.isEmpty() || key.isNull()) {
        return QStringLiteral("the certificate or its key cannot be read");
    }
    tls_ = std::make_unique<QSslConfiguration>(QSslConfiguration::defaultConfiguration());
    tls_->setLocalCertificateChain(chain);
    tls_->setPrivateKey(key);
    tls_->setPeerVerifyMode(QSslSocket::VerifyNone);
    return {};
}

void Listener::incomingConnection(qintptr descriptor)
{
    const Connection::Surroundings surroundings{state_, service_, recorder_, options_.highWaterBytes};
    if (!tls_) {
        auto* socket = new QTcpSocket;
        socket->setSocketDescriptor(descriptor);
        new Connection(socket, surroundings, this);
        return;
    }
    auto* socket = new QSslSocket;
    socket->setSslConfiguration(*tls_);
    socket->setSocketDescriptor(descriptor);
    new Connection(socket, surroundings, this);
    socket->startServerEncryption();
}

} // namespace velmo::practice
