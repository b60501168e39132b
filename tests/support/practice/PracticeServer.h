#pragma once

#include "support/practice/HttpTypes.h"
#include "support/practice/ImageMeasure.h"
#include "support/practice/Scenario.h"
#include "support/practice/Speech.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <chrono>
#include <memory>

namespace velmo::practice {

/// How a server listens. Plain value.
struct ServerOptions {
    quint16 port = 0;                        ///< 0 picks a free one.
    std::chrono::milliseconds pieceDelay{0}; ///< Between streamed pieces.
    QString recordDirectory{};    ///< Where requests are written; empty for nowhere. See Recorder.h.
    QString tlsCertificateFile{}; ///< PEM; with a key file, the server speaks TLS only.
    QString tlsKeyFile{};         ///< PEM.
    RedRule redRule{};            ///< What the answer scenario counts as a red stroke.
    qint64 highWaterBytes = qint64{256} * 1024; ///< Bytes that may wait unsent before a stream pauses.
};

/// A loopback HTTP/1.1 service that imitates two language model services and a speech service, for tests and
/// for trying the application without an account:
///
///   POST PREFIX/v1/messages            streams events (`x-api-key`, `anthropic-version: 2023-06-01`)
///   POST PREFIX/v1/chat/completions    streams events (`Authorization: Bearer KEY`)
///   POST PREFIX/v1/predictions         creates a transcription (`Authorization: Bearer KEY`), polled by
///   GET  PREFIX/v1/predictions/ID
///
/// The key `bad-key` is refused with 401. What is answered otherwise is decided by a Scenario: of the queue,
/// which loses one per request (polls are requests, too), else the default one. Scenarios that stream first
/// check the request, and answer 4xx with the vendor's error body when it is not valid; scenarios that fail
/// before the body (drops, status codes, redirects, ...) and Custom check nothing and apply to every path.
/// For the speech service only scenarios of the transport and of the status count; SpeechOptions say the
/// rest.
///
/// The server runs a thread of its own, so the thread that uses it may block. All functions may be called
/// from any thread, start() and stop() from one at a time. A QCoreApplication must exist.
class PracticeServer {
public:
    PracticeServer();
    ~PracticeServer(); ///< Stops.
    PracticeServer(const PracticeServer&) = delete;
    PracticeServer& operator=(const PracticeServer&) = delete;

    /// Listens on 127.0.0.1. Returns the port, or 0 with the reason in errorString().
    quint16 start(const ServerOptions& options = {});
    /// Closes all connections. What was recorded stays.
    void stop();

    [[nodiscard]] quint16 port() const;
    /// As in `http://127.0.0.1:4711`, without a slash at the end.
    [[nodiscard]] QString baseUrl() const;
    [[nodiscard]] QString errorString() const;

    /// For every request that no queued scenario takes.
    void setScenario(const Scenario& scenario);
    /// Adds scenarios to the queue.
    void enqueue(const QList<Scenario>& scenarios);
    void clearQueue();
    /// What the scenarios that stream say, one event each (not Answer and HugeStream).
    void setPieces(const QStringList& pieces);
    void setSpeech(const SpeechOptions& options);

    /// The pieces before the first setPieces(): they contain sequences of two, three and four bytes.
    [[nodiscard]] static QStringList defaultPieces();

    /// Requests that arrived completely since start() or clearRequests(), in the order of arrival.
    [[nodiscard]] QList<RecordedRequest> requests() const;
    void clearRequests();

    /// Blocks until requests() has at least that many. False when the time is over.
    [[nodiscard]] bool waitForRequests(int count, std::chrono::milliseconds timeout) const;

    /// Connections opened and closed since start(), whoever closed them.
    [[nodiscard]] int openedConnections() const;
    [[nodiscard]] int closedConnections() const;
    /// Blocks until that many connections were closed. False when the time is over.
    [[nodiscard]] bool waitForClosedConnections(int count, std::chrono::milliseconds timeout) const;

    /// Bytes of answers handed to the network or queued for it since start(); shows back-pressure.
    [[nodiscard]] quint64 sentBytes() const;

private:
    class Thread;
    struct Implementation;
    std::unique_ptr<Implementation> implementation_;
};

} // namespace velmo::practice
