#pragma once

#include "platform/WindowSurfaces.h"

#include <QMenu>

namespace velmo {

class FlatMenuStyle;

/// A menu in the panel's look: dark whatever the desktop's style. Main thread.
class PanelMenu final : public QMenu {
public:
    static constexpr int kWidth = 188;

    /// The window system is asked now whether a shadow can be shown.
    PanelMenu(QWidget* parent, const WindowSurfaces& windows);

    /// A line that only names what follows.
    QAction* addHeader(const QString& title);

    /// Opens with its frame below the area, or above it where there is no room, the gap in between; as far
    /// left as the area, where it fits on the screen. In the toolkit's global coordinates.
    void popupAt(const QRect& area, int gap);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    FlatMenuStyle* style_; ///< A child.
};

} // namespace velmo
