#pragma once

#include "platform/WindowSurfaces.h"

#include <QSize>
#include <QString>

class QWidget;

namespace velmo::DialogWindow {

/// Makes the widget a titled window with a close button and contents of that size, in the middle of the main
/// screen, which is kept when it is closed. Before it is shown. Main thread.
void prepare(QWidget& window, const QString& title, QSize contentSize);

/// Gives a prepared window whose contents scroll that size again, or one that is less high, down to
/// leastHeight, where it would otherwise go beyond the end of a low screen. Each time before it is brought to
/// the front: the screen may have become another.
void fitToScreen(QWidget& window, QSize contentSize, int leastHeight);

/// Shows the window above others, our floating ones included, and gives it the keyboard, as if the user had
/// just chosen it. The window system outlives the window.
void bringToFront(QWidget& window, WindowSurfaces& surfaces);

} // namespace velmo::DialogWindow
