#include "widgets/DialogWindow.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

namespace velmo::DialogWindow {

void prepare(QWidget& window, const QString& title, QSize contentSize)
{
    window.setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                          Qt::WindowCloseButtonHint);
    window.setAttribute(Qt::WA_DeleteOnClose, false);
    window.setWindowTitle(title);
    window.setFixedSize(contentSize);
    if (const QScreen* screen = QGuiApplication::primaryScreen(); screen != nullptr) {
        QRect frame({}, contentSize);
        frame.moveCenter(screen->availableGeometry().center());
        window.move(frame.topLeft());
    }
}

void bringToFront(QWidget& window)
{
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    window.activateWindow();
}

} // namespace velmo::DialogWindow
