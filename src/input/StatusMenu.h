#pragma once

#include "platform/WindowSurfaces.h"

#include <QMenu>
#include <functional>

namespace velmo {

/// The status item's menu. Trays that draw menus themselves get its items; elsewhere it is shown in the
/// project's look, light or dark as the desktop's scheme is. The keys at its items are labels: nothing
/// listens to them while the menu is closed. Main thread.
class StatusMenu final : public QMenu {
public:
    /// What each item does; empty ones do nothing.
    struct Actions {
        std::function<void()> activateAnnotation;
        std::function<void()> changeHotkey;
        std::function<void()> openSettings;
        std::function<void()> checkForUpdates;
        std::function<void()> terminate;
    };

    /// The window system outlives it.
    StatusMenu(const WindowSurfaces& windows, const Actions& actions);

    /// The desktop's colours are others now.
    std::function<void()> onColorsChanged;

protected:
    bool event(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void addItem(const QString& title, const QKeySequence& key, std::function<void()> action);

    const WindowSurfaces& windows_;
};

} // namespace velmo
