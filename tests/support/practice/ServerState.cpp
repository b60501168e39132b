#include "support/practice/ServerState.h"

#include <utility>

namespace velmo::practice {

void ServerState::setScenario(const Scenario& scenario)
{
    const std::lock_guard lock(mutex_);
    scenario_ = scenario;
}

void ServerState::enqueue(const QList<Scenario>& scenarios)
{
    const std::lock_guard lock(mutex_);
    queue_.insert(queue_.end(), scenarios.begin(), scenarios.end());
}

void ServerState::clearQueue()
{
    const std::lock_guard lock(mutex_);
    queue_.clear();
}

void ServerState::setPieces(const QStringList& pieces)
{
    const std::lock_guard lock(mutex_);
    pieces_ = pieces;
}

void ServerState::setSpeech(const SpeechOptions& options)
{
    const std::lock_guard lock(mutex_);
    speech_ = options;
}

Instructions ServerState::takeInstructions()
{
    const std::lock_guard lock(mutex_);
    Instructions instructions{.scenario = scenario_, .pieces = pieces_, .speech = speech_};
    if (!queue_.empty()) {
        instructions.scenario = std::move(queue_.front());
        queue_.pop_front();
    }
    return instructions;
}

void ServerState::reset()
{
    const std::lock_guard lock(mutex_);
    requests_.clear();
    lastOrder_ = 0;
    opened_ = 0;
    closed_ = 0;
    sentBytes_ = 0;
}

RecordedRequest ServerState::record(RecordedRequest request)
{
    const std::lock_guard lock(mutex_);
    request.order = ++lastOrder_;
    requests_.append(request);
    changed_.notify_all();
    return request;
}

void ServerState::clearRequests()
{
    const std::lock_guard lock(mutex_);
    requests_.clear();
}

QList<RecordedRequest> ServerState::requests() const
{
    const std::lock_guard lock(mutex_);
    return requests_;
}

bool ServerState::waitForRequests(int count, std::chrono::milliseconds timeout) const
{
    return waitUntil(timeout, [this, count] { return requests_.size() >= count; });
}

int ServerState::connectionOpened()
{
    const std::lock_guard lock(mutex_);
    return ++opened_;
}

void ServerState::connectionClosed()
{
    const std::lock_guard lock(mutex_);
    ++closed_;
    changed_.notify_all();
}

int ServerState::openedConnections() const
{
    const std::lock_guard lock(mutex_);
    return opened_;
}

int ServerState::closedConnections() const
{
    const std::lock_guard lock(mutex_);
    return closed_;
}

bool ServerState::waitForClosedConnections(int count, std::chrono::milliseconds timeout) const
{
    return waitUntil(timeout, [this, count] { return closed_ >= count; });
}

bool ServerState::waitUntil(std::chrono::milliseconds timeout, const std::function<bool()>& condition) const
{
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, condition);
}

} // namespace velmo::practice
