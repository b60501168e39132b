#pragma once

#include "input/StatusMenu.h"
#include "platform/TrayPresence.h"

#include <QSystemTrayIcon>
#include <QTimer>
#include <functional>
#include <memory>
#include <vector>

namespace velmo {

/// The symbol in the desktop's bar. It appears as soon as there is a bar for it, however late, and comes back
/// with one that was restarted. Main thread.
class StatusItem final {
public:
    using Trays = std::vector<std::unique_ptr<TrayPresence>>;

    /// The menu and the trays outlive it; the handlers of both are its own. onMissing tells, once and on a
    /// later turn, that the desktop has no tray at the moment.
    StatusItem(StatusMenu& menu, const Trays& trays, std::function<void()> onMissing = {});
    StatusItem(const StatusItem&) = delete;
    StatusItem& operator=(const StatusItem&) = delete;
    ~StatusItem();

    /// There has been a tray.
    [[nodiscard]] bool exists() const { return icon_ != nullptr; }

private:
    void followTrays();
    void create();
    [[nodiscard]] QColor color() const;
    void openMenu();

    StatusMenu& menu_;
    const Trays& trays_;
    std::unique_ptr<QSystemTrayIcon> icon_;
    QTimer missing_;
    bool hasExplained_ = false;
};

} // namespace velmo
