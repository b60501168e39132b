#include "support/practice/Connection.h"

#include <QSslSocket>
#include <QTimer>

#include <sys/socket.h>

#include <utility>

namespace velmo::practice {

Connection::Connection(QTcpSocket* socket, const Surroundings& surroundings, QObject* parent)
    : QObject(parent)
    , socket_(socket)
    , surroundings_(surroundings)
    , number_(surroundings.state.connectionOpened())
{
    socket_->setParent(this);
    // Pieces travel when they are written, not when the network finds it worth while.
    socket_->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    connect(socket_, &QTcpSocket::readyRead, this, &Connection::readMore);
    connect(socket_, &QTcpSocket::bytesWritten, this, &Connection::play);
    connect(socket_, &QTcpSocket::disconnected, this, &Connection::ended);
    connect(socket_, &QTcpSocket::errorOccurred, this, [this] {
        if (socket_->state() == QAbstractSocket::UnconnectedState) {
            ended();
        }
    });
    if (auto* encrypted = qobject_cast<QSslSocket*>(socket_)) {
        connect(encrypted, &QSslSocket::encryptedBytesWritten, this, &Connection::play);
        // A client that refuses the certificate leaves a socket that is of no more use.
        connect(encrypted, &QSslSocket::sslErrors, this, [this] { socket_->abort(); });
    }
}

Connection::~Connection()
{
    socket_->disconnect(this);
    if (!isOver_) {
        surroundings_.state.connectionClosed();
    }
}

void Connection::readMore()
{
    parser_.feed(socket_->readAll());
    readRequests();
}

void Connection::readRequests()
{
    while (!isBusy_ && !isOver_) {
        auto request = parser_.next();
        if (request) {
            begin(std::move(*request));
            continue;
        }
        if (parser_.takeContinueWish()) {
            send("HTTP/1.1 100 Continue\r\n\r\n");
        }
        if (parser_.isBroken()) {
            isBusy_ = true;
            send("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
            socket_->disconnectFromHost();
        }
        return;
    }
}

void Connection::begin(RecordedRequest request)
{
    request.connection = number_;
    request.arrivedAt = std::chrono::steady_clock::now();
    isBusy_ = true;
    // The instructions are taken before anybody can learn of the request, so that a test which waits for it
    // and then changes the scenario changes it for the next one.
    Instructions instructions = surroundings_.state.takeInstructions();
    const RecordedRequest recorded = surroundings_.state.record(std::move(request));
    surroundings_.recorder.write(recorded);
    reply_ = surroundings_.service.replyTo(recorded, std::move(instructions));
    play();
}

void Connection::play()
{
    if (isPlaying_ || isWaiting_ || isOver_) {
        return;
    }
    isPlaying_ = true;
    while (reply_ && !isOver_ && unsentBytes() <= surroundings_.highWaterBytes && perform(reply_())) {
    }
    isPlaying_ = false;
}

bool Connection::perform(const Step& step)
{
    switch (step.kind) {
    case Step::Kind::Write:
        send(step.bytes);
        return true;
    case Step::Kind::Wait:
        isWaiting_ = true;
        QTimer::singleShot(step.pause, Qt::PreciseTimer, this, [this] {
            isWaiting_ = false;
            play();
        });
        return false;
    case Step::Kind::Finish:
        reply_ = nullptr;
        isBusy_ = false;
        // Not from here: the next reply would be played inside this one.
        QMetaObject::invokeMethod(
            this, [this] { readRequests(); }, Qt::QueuedConnection);
        return false;
    case Step::Kind::Close:
        reply_ = nullptr;
        socket_->disconnectFromHost();
        return false;
    case Step::Kind::Reset:
        reply_ = nullptr;
        reset();
        return false;
    case Step::Kind::Hang:
        reply_ = nullptr;
        return false;
    }
    return false;
}

qint64 Connection::unsentBytes() const
{
    const auto* encrypted = qobject_cast<const QSslSocket*>(socket_);
    return socket_->bytesToWrite() + (encrypted != nullptr ? encrypted->encryptedBytesToWrite() : 0);
}

void Connection::send(const QByteArray& bytes)
{
    if (socket_->write(bytes) > 0) {
        surroundings_.state.addSentBytes(bytes.size());
        socket_->flush();
    }
}

void Connection::reset()
{
    // Lingering for no time makes the close of the descriptor a reset.
    const linger immediately{.l_onoff = 1, .l_linger = 0};
    setsockopt(static_cast<int>(socket_->socketDescriptor()), SOL_SOCKET, SO_LINGER, &immediately,
               sizeof immediately);
    socket_->abort();
}

void Connection::ended()
{
    if (std::exchange(isOver_, true)) {
        return;
    }
    // The reply may be running right now, so it must not be destroyed here; deleteLater() does it.
    surroundings_.state.connectionClosed();
    deleteLater();
}

} // namespace velmo::practice
