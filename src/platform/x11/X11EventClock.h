#pragma once

#include <QtGlobal>
#include <chrono>

namespace velmo {

/// Turns the server's time stamps, which start over every 49.7 days, into ones that do not. Events may come
/// slightly out of order. One thread.
class X11EventClock {
public:
    [[nodiscard]] std::chrono::milliseconds time(quint32 stamp)
    {
        total_ += static_cast<qint32>(stamp - static_cast<quint32>(total_));
        return std::chrono::milliseconds(total_);
    }

private:
    qint64 total_ = 0;
};

} // namespace velmo
