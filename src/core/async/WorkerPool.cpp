#include "core/async/WorkerPool.h"

#include <QThreadPool>
#include <atomic>

namespace velmo::async {

namespace {

/// Two: one picture can be encoded while the next is taken, and the desktop keeps the other cores.
constexpr int kWorkers = 2;

std::atomic<bool> closed{false};

QThreadPool& pool()
{
    static QThreadPool workers;
    static const bool configured = [] {
        workers.setMaxThreadCount(kWorkers);
        workers.setObjectName(QStringLiteral("velmo.worker"));
        return true;
    }();
    Q_UNUSED(configured)
    return workers;
}

} // namespace

void runOnWorker(std::function<void()> function)
{
    if (!closed)
        pool().start(std::move(function));
}

void finishWorkers()
{
    pool().clear();
    pool().waitForDone();
}

void shutDownWorkers()
{
    closed = true;
    finishWorkers();
}

} // namespace velmo::async
