#include "widgets/DialogWindow.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QTimer>
#include <QWidget>
#include <QWindow>
#include <utility>

namespace velmo::DialogWindow {

namespace {

/// By then a window manager has brought a window forward that it had to find among others.
constexpr std::chrono::milliseconds kRestacking{100};

/// Keeps a window of ours where it belongs while it is shown: above our floating windows, and out of the
/// desktop's lists.
class Placement final : public QObject {
public:
    [[nodiscard]] static Placement& of(QWidget& window, WindowSurfaces& surfaces)
    {
        for (QObject* child : window.children()) {
            if (auto* known = dynamic_cast<Placement*>(child); known != nullptr)
                return *known;
        }
        return *new Placement(window, surfaces);
    }

    void bringForward()
    {
        surfaces_.activateManaged(window_);
        if (isPlaced_)
            again_.start(kRestacking);
    }

private:
    Placement(QWidget& window, WindowSurfaces& surfaces)
        : QObject(&window)
        , window_(window)
        , surfaces_(surfaces)
    {
        window.winId();
        window.installEventFilter(this);
        window.windowHandle()->installEventFilter(this);
        again_.setSingleShot(true);
        again_.callOnTimeout([this] {
            if (isPlaced_)
                surfaces_.bringManagedToTop(window_);
        });
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched == &window_ && event->type() == QEvent::Show && !event->spontaneous()) {
            isPlaced_ = false;
            surfaces_.leaveOutOfLists(window_);
        } else if (watched == &window_ && event->type() == QEvent::Hide && !event->spontaneous()) {
            isPlaced_ = false;
            surfaces_.releaseTop(window_);
        } else if (event->type() == QEvent::Expose && window_.windowHandle()->isExposed() &&
                   !std::exchange(isPlaced_, true)) {
            // It is exposed once the window manager has framed and shown it.
            surfaces_.bringManagedToTop(window_);
        }
        return false;
    }

    QWidget& window_;
    WindowSurfaces& surfaces_;
    QTimer again_;
    bool isPlaced_ = false; ///< Above our other windows, since it was shown.
};

} // namespace

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

void bringToFront(QWidget& window, WindowSurfaces& surfaces)
{
    Placement& placement = Placement::of(window, surfaces);
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    placement.bringForward();
}

void bringToFront(QWidget& window)
{
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    window.activateWindow();
}

} // namespace velmo::DialogWindow
