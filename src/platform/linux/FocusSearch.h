#pragma once

#include "platform/linux/BusConnection.h"

#include <QtGlobal>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <vector>

namespace velmo {

/// Walks through an application's visible elements until it meets the one that has the focus. Destroying it
/// ends it; then nothing is told any more. One thread; nothing waits.
class FocusSearch {
public:
    /// Called when all there is was looked at; the handler may destroy the search.
    using FinishedHandler = std::function<void()>;

    /// Begins at these roots, of which there must be some.
    FocusSearch(BusConnection& bus, const std::vector<BusObject>& roots, FinishedHandler onFinished);
    FocusSearch(const FocusSearch&) = delete;
    FocusSearch& operator=(const FocusSearch&) = delete;

    /// The innermost element with the focus of those looked at so far.
    [[nodiscard]] const std::optional<BusObject>& found() const { return found_; }

    /// Whether the application regards one of its windows as having the keyboard.
    [[nodiscard]] bool hasActiveWindow() const { return hasActiveWindow_; }

private:
    struct Node {
        BusObject element;
        int depth;
    };
    enum class Urgency { First, Last };

    void proceed();
    void ask(const Node& node);
    void onState(const Node& node, quint64 states);
    void askForChildren(const Node& node, Urgency urgency);
    void send(const BusRequest& request, BusConnection::Handler handler);

    BusConnection& bus_;
    const FinishedHandler onFinished_;
    std::optional<BusObject> found_;
    std::deque<Node> waiting_;
    std::list<BusListener> calls_;
    size_t seen_ = 0;
    bool hasActiveWindow_ = false;
};

} // namespace velmo
