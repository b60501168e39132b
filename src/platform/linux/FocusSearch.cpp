#include "platform/linux/FocusSearch.h"

#include "platform/linux/AtSpiNames.h"

#include <utility>

namespace velmo {
namespace {

/// Enough to keep the application busy while answers travel, and little for it to do after the search has
/// ended.
constexpr size_t kMostCalls = 8;
/// Applications whose trees are deeper or larger are given up on, as are trees that contain themselves.
constexpr int kMostDepth = 60;
constexpr size_t kMostNodes = 5000;

/// Below the application itself.
constexpr int kWindowDepth = 1;

} // namespace

FocusSearch::FocusSearch(BusConnection& bus, const std::vector<BusObject>& roots, FinishedHandler onFinished)
    : bus_(bus)
    , onFinished_(std::move(onFinished))
{
    for (const auto& root : roots)
        waiting_.push_back({root, 0});
    proceed();
}

void FocusSearch::proceed()
{
    while (!waiting_.empty() && calls_.size() < kMostCalls) {
        const Node node = std::move(waiting_.front());
        waiting_.pop_front();
        ask(node);
    }
    if (!calls_.empty())
        return;
    const auto finished = onFinished_;
    finished();
}

void FocusSearch::ask(const Node& node)
{
    send(atspi::getState(node.element), [this, node](BusMessage& message) {
        if (const auto states = atspi::readStates(message))
            onState(node, *states);
    });
}

void FocusSearch::onState(const Node& node, quint64 states)
{
    const bool isActive = (states & atspi::kActive) != 0;
    hasActiveWindow_ |= isActive && node.depth == kWindowDepth;
    const bool managesDescendants = (states & atspi::kManagesDescendants) != 0;
    if ((states & atspi::kFocused) != 0) {
        // Whatever else has the focus is inside this one.
        found_ = node.element;
        waiting_.clear();
        calls_.clear();
    } else if (node.depth > 0 && (states & atspi::kShowing) == 0) {
        return;
    }
    if (!managesDescendants && node.depth < kMostDepth)
        askForChildren(node, isActive ? Urgency::First : Urgency::Last);
}

void FocusSearch::askForChildren(const Node& node, Urgency urgency)
{
    send(atspi::getChildren(node.element), [this, depth = node.depth + 1, urgency](BusMessage& message) {
        std::deque<Node> children;
        for (auto& element : message.readObjects()) {
            if (seen_ >= kMostNodes)
                break;
            ++seen_;
            children.push_back({std::move(element), depth});
        }
        waiting_.insert(urgency == Urgency::First ? waiting_.begin() : waiting_.end(), children.begin(),
                        children.end());
    });
}

void FocusSearch::send(const BusRequest& request, BusConnection::Handler handler)
{
    const auto call = calls_.emplace(calls_.end());
    *call = bus_.call(request, atspi::kAnswerLimit,
                      [this, call, handler = std::move(handler)](BusMessage& message) {
                          // The handler may end all calls, this one among them.
                          const BusListener answered = std::move(*call);
                          calls_.erase(call);
                          handler(message);
                          proceed();
                      });
}

} // namespace velmo
