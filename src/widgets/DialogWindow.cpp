#include "widgets/DialogWindow.h"

#include "widgets/ApplicationIcon.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QTimer>
#include <QWidget>
#include <QWindow>
#include <algorithm>
#include <utility>

namespace velmo::DialogWindow {

namespace {

/// A window manager brings a window forward and puts its others in order, once or in steps: looked at so
/// often, and so long after one another.
constexpr std::chrono::milliseconds kRestacking{100};
constexpr int kRestackings = 4;
/// What frames take of the height: the highest usual title bar. How high it really is, window managers tell
/// only once the window is there.
constexpr int kFrameHeight = 40;

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
        // Right below it our floating windows would still be below whatever it is below at the moment. On
        // another desktop it may be hidden, and is placed when it is exposed on this one.
        isPlaced_ = false;
        if (window_.windowHandle()->isExposed())
            restackLater();
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
        restacking_.callOnTimeout([this] {
            if (++restackings_ == kRestackings)
                restacking_.stop();
            if (!std::exchange(isPlaced_, true))
                surfaces_.bringManagedToTop(window_);
            else
                surfaces_.keepManagedOnTop();
        });
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched == &window_ && event->type() == QEvent::Show && !event->spontaneous()) {
            isPlaced_ = false;
            surfaces_.leaveOutOfLists(window_);
        } else if (watched == &window_ && event->type() == QEvent::Hide && !event->spontaneous()) {
            restacking_.stop();
            surfaces_.releaseTop(window_);
        } else if (watched == &window_ && isPlaced_ && window_.isVisible() &&
                   (event->type() == QEvent::Move || event->type() == QEvent::Resize)) {
            // It may meet others there, and it may not be there yet.
            surfaces_.keepManagedOnTop();
            restackLater();
        } else if (event->type() == QEvent::Expose && window_.windowHandle()->isExposed() &&
                   !std::exchange(isPlaced_, true)) {
            // It is exposed once the window manager has framed and shown it.
            surfaces_.bringManagedToTop(window_);
            restackLater();
        }
        return false;
    }

    void restackLater()
    {
        restackings_ = 0;
        restacking_.start(kRestacking);
    }

    QWidget& window_;
    WindowSurfaces& surfaces_;
    QTimer restacking_;
    int restackings_ = 0;
    bool isPlaced_ = false; ///< Above our floating windows, since it was last asked for.
};

} // namespace

void prepare(QWidget& window, const QString& title, QSize contentSize)
{
    window.setWindowFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                          Qt::WindowCloseButtonHint);
    window.setAttribute(Qt::WA_DeleteOnClose, false);
    window.setWindowTitle(title);
    // Not the application's own one, which the toolkit would give to the overlay and the panel, too.
    window.setWindowIcon(applicationIcon());
    window.setFixedSize(contentSize);
    if (const QScreen* screen = QGuiApplication::primaryScreen(); screen != nullptr) {
        QRect frame({}, contentSize);
        frame.moveCenter(screen->availableGeometry().center());
        window.move(frame.topLeft());
    }
}

void fitToScreen(QWidget& window, QSize contentSize, int leastHeight)
{
    const QScreen* screen = window.screen();
    if (screen == nullptr)
        return;
    const QRect available = screen->availableGeometry();
    const int height = std::clamp(available.height() - kFrameHeight, leastHeight, contentSize.height());
    window.setFixedSize(contentSize.width(), height);
    const int lowest = std::max(available.bottom() + 1 - kFrameHeight - height, available.top());
    if (height < contentSize.height() && window.y() > lowest)
        window.move(window.x(), lowest);
}

void bringToFront(QWidget& window, WindowSurfaces& surfaces)
{
    Placement& placement = Placement::of(window, surfaces);
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    placement.bringForward();
}

} // namespace velmo::DialogWindow
