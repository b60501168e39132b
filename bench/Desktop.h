#pragma once

#include "support/x11/ChildProcess.h"
#include "support/x11/VirtualDisplay.h"

#include <QImage>
#include <QSize>
#include <memory>
#include <vector>

namespace velmo {
class X11Connection;
}

namespace velmo::bench {

/// A display with a window manager that looks like somebody's: a photograph as wallpaper and windows with
/// text and a chart over most of it. While it lives, DISPLAY names it.
class Desktop {
public:
    enum class Windows { None, Some };

    Desktop(QSize size, Windows windows);
    ~Desktop();
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;

    /// False if something did not start.
    [[nodiscard]] bool isReady() const { return ready_; }
    [[nodiscard]] QSize size() const { return size_; }
    [[nodiscard]] X11Connection& connection() { return *connection_; }

    /// The plain screen, by one request.
    [[nodiscard]] QImage grab();

private:
    void setWallpaper();
    [[nodiscard]] bool openWindows();
    [[nodiscard]] bool settle();

    QSize size_;
    test::VirtualDisplay display_;
    std::unique_ptr<X11Connection> connection_;
    std::vector<test::ChildProcess> windows_;
    bool ready_ = false;
};

/// True if the pictures differ in no more than a text cursor that blinks.
[[nodiscard]] bool showsTheSame(const QImage& first, const QImage& second);

} // namespace velmo::bench
