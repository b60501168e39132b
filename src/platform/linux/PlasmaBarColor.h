#pragma once

#include <QColor>
#include <QFileSystemWatcher>
#include <functional>
#include <memory>
#include <optional>

namespace velmo {

/// What stands out on the bar of a Plasma desktop, whose colours may be others than those of windows; nothing
/// where its theme has none of its own, or the session's desktop is another one. Reads small files.
[[nodiscard]] std::optional<QColor> plasmaBarColor();

/// Looks for another theme of the bar's, of which Plasma tells nobody. On other desktops it looks at nothing.
/// Main thread.
class PlasmaBarWatch {
public:
    /// The handler is called from the event loop, maybe without a change.
    explicit PlasmaBarWatch(std::function<void()> onChange);

private:
    void follow();
    void lookAtSettings();

    std::function<void()> onChange_;
    std::unique_ptr<QFileSystemWatcher> watcher_;
};

} // namespace velmo
