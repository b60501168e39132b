#include "support/practice/PracticeServer.h"

#include "support/practice/Listener.h"
#include "support/practice/ServerState.h"

#include <QThread>

#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>

namespace velmo::practice {

/// Runs a listener and its event loop, and tells the starting thread how listening went.
class PracticeServer::Thread final : public QThread {
public:
    Thread(const ServerOptions& options, ServerState& state)
        : options_(options)
        , state_(state)
    {}

    ListenResult awaitListening()
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return result_.has_value(); });
        return *result_;
    }

    /// Ends the event loop and returns when nothing of the listener is left.
    void end()
    {
        quit();
        {
            // wait() alone would do, but tools that look for races see this lock, and not the one in QThread.
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return hasEnded_; });
        }
        wait();
    }

protected:
    void run() override
    {
        serve();
        const std::lock_guard lock(mutex_);
        hasEnded_ = true;
        changed_.notify_all();
    }

private:
    void serve()
    {
        Listener listener(options_, state_);
        const ListenResult result = listener.start();
        {
            const std::lock_guard lock(mutex_);
            result_ = result;
            changed_.notify_all();
        }
        if (result.port != 0) {
            exec();
        }
    }

    const ServerOptions options_;
    ServerState& state_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::optional<ListenResult> result_;
    bool hasEnded_ = false;
};

struct PracticeServer::Implementation {
    ServerState state;
    std::unique_ptr<Thread> thread;
    mutable std::mutex mutex; ///< Guards the three below, which change at start() and stop().
    quint16 port = 0;
    QString scheme = QStringLiteral("http");
    QString error;
};

PracticeServer::PracticeServer()
    : implementation_(std::make_unique<Implementation>())
{
    implementation_->state.setPieces(defaultPieces());
}

PracticeServer::~PracticeServer()
{
    stop();
}

quint16 PracticeServer::start(const ServerOptions& options)
{
    stop();
    implementation_->state.reset();
    implementation_->thread = std::make_unique<Thread>(options, implementation_->state);
    implementation_->thread->start();
    const ListenResult result = implementation_->thread->awaitListening();
    {
        const std::lock_guard lock(implementation_->mutex);
        implementation_->port = result.port;
        implementation_->error = result.error;
        implementation_->scheme =
            options.tlsCertificateFile.isEmpty() ? QStringLiteral("http") : QStringLiteral("https");
    }
    return result.port;
}

void PracticeServer::stop()
{
    if (!implementation_->thread) {
        return;
    }
    implementation_->thread->end();
    implementation_->thread.reset();
    const std::lock_guard lock(implementation_->mutex);
    implementation_->port = 0;
}

quint16 PracticeServer::port() const
{
    const std::lock_guard lock(implementation_->mutex);
    return implementation_->port;
}

QString PracticeServer::baseUrl() const
{
    const std::lock_guard lock(implementation_->mutex);
    return QStringLiteral("%1://127.0.0.1:%2").arg(implementation_->scheme).arg(implementation_->port);
}

QString PracticeServer::errorString() const
{
    const std::lock_guard lock(implementation_->mutex);
    return implementation_->error;
}

void PracticeServer::setScenario(const Scenario& scenario)
{
    implementation_->state.setScenario(scenario);
}

void PracticeServer::enqueue(const QList<Scenario>& scenarios)
{
    implementation_->state.enqueue(scenarios);
}

void PracticeServer::clearQueue()
{
    implementation_->state.clearQueue();
}

void PracticeServer::setPieces(const QStringList& pieces)
{
    implementation_->state.setPieces(pieces);
}

void PracticeServer::setSpeech(const SpeechOptions& options)
{
    implementation_->state.setSpeech(options);
}

QStringList PracticeServer::defaultPieces()
{
    return {QStringLiteral("Hello"),
            QStringLiteral(" from the"),
            QString::fromUtf8(" pr\xC3\xA4"
                              "ctice"),
            QString::fromUtf8(" service \xE2\x80\x94"),
            QString::fromUtf8(" \xF0\x9F\x8E\xAF"),
            QStringLiteral(" done.")};
}

QList<RecordedRequest> PracticeServer::requests() const
{
    return implementation_->state.requests();
}

void PracticeServer::clearRequests()
{
    implementation_->state.clearRequests();
}

bool PracticeServer::waitForRequests(int count, std::chrono::milliseconds timeout) const
{
    return implementation_->state.waitForRequests(count, timeout);
}

int PracticeServer::openedConnections() const
{
    return implementation_->state.openedConnections();
}

int PracticeServer::closedConnections() const
{
    return implementation_->state.closedConnections();
}

bool PracticeServer::waitForClosedConnections(int count, std::chrono::milliseconds timeout) const
{
    return implementation_->state.waitForClosedConnections(count, timeout);
}

quint64 PracticeServer::sentBytes() const
{
    return implementation_->state.sentBytes();
}

} // namespace velmo::practice
