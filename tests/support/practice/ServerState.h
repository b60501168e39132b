#pragma once

#include "support/practice/HttpTypes.h"
#include "support/practice/Scenario.h"
#include "support/practice/Speech.h"

#include <QList>
#include <QStringList>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

namespace velmo::practice {

/// What is decided for one request, copied so that the lock is not held while answering.
struct Instructions {
    Scenario scenario;
    QStringList pieces;
    SpeechOptions speech;
};

/// What the thread of the server and the threads of its users share. All functions may be called from any
/// thread.
class ServerState {
public:
    void setScenario(const Scenario& scenario);
    void enqueue(const QList<Scenario>& scenarios);
    void clearQueue();
    void setPieces(const QStringList& pieces);
    void setSpeech(const SpeechOptions& options);

    /// The instructions for the next request; takes a scenario from the queue.
    [[nodiscard]] Instructions takeInstructions();

    /// Forgets counters and requests of an earlier run.
    void reset();
    /// Sets the request's order and keeps it; returns the request with its order.
    RecordedRequest record(RecordedRequest request);
    void clearRequests();
    [[nodiscard]] QList<RecordedRequest> requests() const;
    [[nodiscard]] bool waitForRequests(int count, std::chrono::milliseconds timeout) const;

    /// Returns the number of the new connection.
    int connectionOpened();
    void connectionClosed();
    [[nodiscard]] int openedConnections() const;
    [[nodiscard]] int closedConnections() const;
    [[nodiscard]] bool waitForClosedConnections(int count, std::chrono::milliseconds timeout) const;

    void addSentBytes(qint64 count) { sentBytes_ += static_cast<quint64>(count); }
    [[nodiscard]] quint64 sentBytes() const { return sentBytes_; }

private:
    bool waitUntil(std::chrono::milliseconds timeout, const std::function<bool()>& condition) const;

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    Scenario scenario_;
    std::deque<Scenario> queue_;
    QStringList pieces_;
    SpeechOptions speech_;
    QList<RecordedRequest> requests_;
    int lastOrder_ = 0;
    int opened_ = 0;
    int closed_ = 0;
    std::atomic<quint64> sentBytes_ = 0;
};

} // namespace velmo::practice
