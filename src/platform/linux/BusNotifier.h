#pragma once

#include "platform/linux/BusConnection.h"

#include <QSocketNotifier>
#include <QTimer>
#include <functional>

namespace velmo {

/// Has the main loop carry a connection on, so that the main thread never waits for the bus. The connection
/// outlives it. Not to be destroyed by a handler of the connection.
class BusNotifier {
public:
    /// onLost runs on a turn of its own, once, when the connection is lost.
    BusNotifier(BusConnection& bus, std::function<void()> onLost);
    BusNotifier(const BusNotifier&) = delete;
    BusNotifier& operator=(const BusNotifier&) = delete;

    /// To be called after requests that were not made by a handler.
    void rearm();

private:
    void process();

    BusConnection& bus_;
    std::function<void()> onLost_;
    QSocketNotifier readable_;
    QSocketNotifier writable_;
    QTimer timer_;
};

} // namespace velmo
