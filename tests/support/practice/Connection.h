#pragma once

#include "support/practice/Recorder.h"
#include "support/practice/Reply.h"
#include "support/practice/RequestParser.h"
#include "support/practice/ServerState.h"
#include "support/practice/Service.h"

#include <QObject>
#include <QTcpSocket>

namespace velmo::practice {

/// One accepted connection: reads requests, records them, and performs the steps of the replies, one reply at
/// a time. Lives on the thread of the server; deletes itself after the socket has closed.
class Connection : public QObject {
public:
    struct Surroundings {
        ServerState& state;
        Service& service;
        Recorder& recorder;
        qint64 highWaterBytes;
    };

    /// Takes the socket over. Reading starts at once; with TLS the socket is silent until it is encrypted.
    Connection(QTcpSocket* socket, const Surroundings& surroundings, QObject* parent);
    ~Connection() override;

private:
    void readMore();
    void readRequests();
    void begin(RecordedRequest request);
    void play();
    /// False when nothing more is to be done before an event arrives.
    bool perform(const Step& step);
    [[nodiscard]] qint64 unsentBytes() const;
    void send(const QByteArray& bytes);
    void reset();
    void ended();

    QTcpSocket* socket_; ///< A child of this object.
    Surroundings surroundings_;
    int number_;
    RequestParser parser_;
    Reply reply_;
    bool isBusy_ = false;    ///< A request is being answered, or was answered with silence.
    bool isWaiting_ = false; ///< A pause runs.
    bool isPlaying_ = false; ///< Sending reports progress while it is still running.
    bool isOver_ = false;
};

} // namespace velmo::practice
