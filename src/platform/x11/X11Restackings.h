#pragma once

#include "core/Clock.h"

#include <QAbstractNativeEventFilter>
#include <QTimer>
#include <functional>

namespace velmo {

/// Tells of window managers that put their windows into another order: they do it in steps and in their own
/// time, and then a window that no manager handles may stand where it should not. Main thread.
class X11Restackings final : private QAbstractNativeEventFilter {
public:
    /// Called on a later turn, once for the changes of a turn.
    explicit X11Restackings(std::function<void()> onRestacked);
    X11Restackings(const X11Restackings&) = delete;
    X11Restackings& operator=(const X11Restackings&) = delete;

    /// From now on, for as long as a window manager may take to do what it was asked for. After that, what it
    /// does is the user's doing.
    void watch();

private:
    bool nativeEventFilter(const QByteArray& kind, void* message, qintptr* result) override;

    QTimer later_;
    Clock::TimePoint end_;
    quint32 order_ = 0; ///< The property that holds it.
};

} // namespace velmo
