#include "platform/x11/X11Screens.h"

#include "core/CoordinateSpace.h"
#include "platform/x11/X11Monitors.h"
#include "platform/x11/X11ReservedEdges.h"
#include "platform/x11/X11Toolkit.h"

#include <QScreen>
#include <algorithm>
#include <map>

namespace velmo {
namespace {

QRect nativeArea(const QScreen& screen)
{
    // The toolkit scales a screen's size, never its origin.
    const QRect geometry = screen.geometry();
    const double ratio = screen.devicePixelRatio();
    return {geometry.topLeft(), QSize(qRound(geometry.width() * ratio), qRound(geometry.height() * ratio))};
}

/// What a stripe leaves of a screen, which it cuts off along its edge. A panel between two screens claims the
/// whole of the outer one on its way from the desktop's edge, and is not on it.
QRect without(const QRect& area, const X11ReservedEdges::Stripe& stripe)
{
    const QRect covered = area & stripe.area;
    if (covered.isEmpty())
        return area;
    QRect left = area;
    if (stripe.edge == Qt::LeftEdge)
        left.setLeft(covered.right() + 1);
    else if (stripe.edge == Qt::RightEdge)
        left.setRight(covered.left() - 1);
    else if (stripe.edge == Qt::TopEdge)
        left.setTop(covered.bottom() + 1);
    else
        left.setBottom(covered.top() - 1);
    return left.isEmpty() ? area : left;
}

QRectF availableGeometry(const QScreen& screen, const X11ReservedEdges::Answer& reserved)
{
    const QRect native = nativeArea(screen);
    QRect available = native;
    for (const auto& stripe : reserved.stripes)
        available = without(available, stripe);
    const double ratio = screen.devicePixelRatio();
    const QPointF offset = QPointF(available.topLeft() - native.topLeft()) / ratio;
    const QRectF reduced(QPointF(screen.geometry().topLeft()) + offset, QSizeF(available.size()) / ratio);
    // The toolkit believes an area that nobody keeps up to date, too.
    return reserved.isAreaPublished ? reduced & QRectF(screen.availableGeometry()) : reduced;
}

} // namespace

/// Passes on every signal of the toolkit that means a change of the screens.
class X11Screens::Watcher : public QObject {
public:
    explicit Watcher(std::function<void()> handler)
        : handler_(std::move(handler))
    {
        connect(qGuiApp, &QGuiApplication::screenAdded, this, [this](QScreen* screen) {
            watch(*screen);
            handler_();
        });
        connect(qGuiApp, &QGuiApplication::screenRemoved, this, handler_);
        connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, handler_);
        const auto screens = QGuiApplication::screens();
        for (QScreen* screen : screens)
            watch(*screen);
    }

private:
    void watch(QScreen& screen)
    {
        connect(&screen, &QScreen::geometryChanged, this, handler_);
        // There is no signal for the scale factor, but it never changes without this.
        connect(&screen, &QScreen::logicalDotsPerInchChanged, this, handler_);
    }

    std::function<void()> handler_;
};

/// Atoms never go away, so those that are known need not be asked for again.
class X11Screens::Names {
public:
    [[nodiscard]] xcb_atom_t of(xcb_connection_t* connection, const QString& name)
    {
        const auto known = atoms_.find(name);
        if (known != atoms_.end())
            return known->second;
        const xcb_atom_t atom = existingAtom(connection, name.toUtf8());
        if (atom != XCB_NONE)
            atoms_.emplace(name, atom);
        return atom;
    }

private:
    std::map<QString, xcb_atom_t> atoms_;
};

X11Screens::X11Screens()
    : reserved_(std::make_unique<X11ReservedEdges>())
    , names_(std::make_unique<Names>())
{}

X11Screens::~X11Screens() = default;

void X11Screens::setChangeHandler(std::function<void()> handler)
{
    watcher_ = handler ? std::make_unique<Watcher>(std::move(handler)) : nullptr;
}

std::vector<Screen> X11Screens::all() const
{
    const auto* primary = QGuiApplication::primaryScreen();
    const auto screens = QGuiApplication::screens();
    if (primary == nullptr || screens.isEmpty())
        return {};
    const CoordinateSpace space{QRectF(primary->geometry())};
    xcb_connection_t* connection = toolkitConnection();
    std::vector<X11Monitor> monitors;
    // With one screen the toolkit knows the area that is published.
    X11ReservedEdges::Answer reserved{true, {}};
    if (connection != nullptr) {
        monitors = readMonitors(connection, toolkitScreen(connection).root);
        reserved = reserved_->read(connection, screens.size() > 1);
    }
    std::vector<Screen> result;
    for (const auto* screen : screens) {
        Screen entry;
        entry.name = screen->name();
        entry.frame = space.fromQt(QRectF(screen->geometry()));
        entry.visibleFrame = space.fromQt(availableGeometry(*screen, reserved));
        QRect native = nativeArea(*screen);
        entry.scale = screen->devicePixelRatio();
        const xcb_atom_t atom =
            connection == nullptr ? xcb_atom_t{XCB_NONE} : names_->of(connection, screen->name());
        const auto monitor = std::ranges::find(monitors, atom, &X11Monitor::id);
        if (monitor != monitors.end()) {
            entry.displayID = atom;
            // The toolkit's size is in whole points, and led back to pixels it may be off by one.
            native = monitor->area;
        }
        entry.nativeFrame = {native.x(), native.y(), native.width(), native.height()};
        result.push_back(std::move(entry));
    }
    return result;
}

std::optional<Screen> X11Screens::main() const
{
    const auto* primary = QGuiApplication::primaryScreen();
    if (primary == nullptr)
        return std::nullopt;
    auto screens = all();
    const auto found = std::ranges::find(screens, primary->name(), &Screen::name);
    return found == screens.end() ? std::nullopt : std::optional(std::move(*found));
}

} // namespace velmo
