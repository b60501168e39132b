#pragma once

#include "input/StatusMenu.h"
#include "input/TrayIcon.h"
#include "platform/TrayPresence.h"

#include <QSystemTrayIcon>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>
#include <vector>

namespace velmo {

/// The symbol in the desktop's bar. It appears as soon as there is a bar for it, however late, and comes back
/// with one that was restarted. Main thread.
class StatusItem final {
public:
    using Trays = std::vector<std::unique_ptr<TrayPresence>>;

    /// How long a tray that embeds windows is not taken for the only one: at a session's start the one on the
    /// bus may come after it, on some desktops by many seconds.
    [[nodiscard]] static std::chrono::milliseconds patienceFor(const QStringList& desktops);

    /// The menu and the trays outlive it; the handlers of both are its own. onMissing tells, once and on a
    /// later turn, that the desktop has no tray at the moment, or does not say whether it has one.
    StatusItem(StatusMenu& menu, const Trays& trays, std::chrono::milliseconds patience,
               std::function<void()> onMissing = {});
    StatusItem(const StatusItem&) = delete;
    StatusItem& operator=(const StatusItem&) = delete;
    ~StatusItem();

    /// There has been a tray.
    [[nodiscard]] bool exists() const { return icon_ != nullptr; }

private:
    void followTrays();
    void await();
    void create(TrayPresence::Kind kind);
    void explainMissing(const QString& reason);
    void explainOtherKind();
    [[nodiscard]] bool isPresent(TrayPresence::Kind kind) const;
    [[nodiscard]] bool mayCome(TrayPresence::Kind kind) const;
    [[nodiscard]] TrayColors colors() const;
    void openMenu();

    StatusMenu& menu_;
    const Trays& trays_;
    std::unique_ptr<QSystemTrayIcon> icon_;
    TrayPresence::Kind kind_ =
        TrayPresence::Kind::Bus; ///< Of the tray that the item is made for, once it is.
    QTimer missing_;
    QTimer answer_;   ///< Runs while somebody owes an answer.
    QTimer patience_; ///< Runs while only an embedding tray is there.
    bool hasWaited_ = false;
    QStringList explained_; ///< Why there is no item, each reason once.
    bool hasExplainedKind_ = false;
};

} // namespace velmo
