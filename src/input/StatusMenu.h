#pragma once

#include "platform/WindowSurfaces.h"

#include <QElapsedTimer>
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
    StatusMenu(WindowSurfaces& windows, const Actions& actions);

    /// Opens it, or moves it when it is open, to where the function says for its size on the screen. The
    /// point is of its upper left corner, in the toolkit's global coordinates.
    void openAt(const std::function<QPoint(QSize)>& place);

    /// Takes on a shadow where one can be shown. Done by itself each time before it opens.
    void followCompositor();

    /// The desktop's colours are others now.
    std::function<void()> onColorsChanged;

protected:
    bool event(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    class Style;

    [[nodiscard]] QRect frame() const;
    [[nodiscard]] bool isOfOpening(const QMouseEvent& press) const;
    void noteOpening();
    void cutCorners();
    void addItem(const QString& title, const QKeySequence& key, std::function<void()> action);

    WindowSurfaces& windows_;
    Style* style_; ///< A child.
    QElapsedTimer sinceOpening_;
    QPoint pointerAtOpening_; ///< In the toolkit's global coordinates.
};

} // namespace velmo
