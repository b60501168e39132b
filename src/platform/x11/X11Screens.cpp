#include "platform/x11/X11Screens.h"

#include "core/CoordinateSpace.h"
#include "platform/x11/X11Monitors.h"
#include "platform/x11/X11Toolkit.h"

#include <QScreen>
#include <algorithm>
#include <array>

namespace velmo {
namespace {

QRect nativeArea(const QScreen& screen)
{
    // The toolkit scales a screen's size, never its origin.
    const QRect geometry = screen.geometry();
    const double ratio = screen.devicePixelRatio();
    return {geometry.topLeft(), QSize(qRound(geometry.width() * ratio), qRound(geometry.height() * ratio))};
}

/// The stripes along the desktop's edges that panels have reserved, in native pixels.
std::vector<QRect> reservedStripes(xcb_connection_t* connection)
{
    const auto& screen = toolkitScreen(connection);
    const auto root =
        awaitReply(connection, xcb_get_geometry_reply, xcb_get_geometry(connection, screen.root));
    if (!root)
        return {};
    const int width = root->width;
    const int height = root->height;
    const xcb_atom_t partial = existingAtom(connection, "_NET_WM_STRUT_PARTIAL");
    std::vector<xcb_get_property_cookie_t> cookies;
    for (const xcb_window_t window :
         readNumbers(connection, screen.root, existingAtom(connection, "_NET_CLIENT_LIST")))
        cookies.push_back(requestProperty(connection, window, partial));
    std::vector<QRect> stripes;
    for (const auto cookie : cookies) {
        const auto numbers = awaitNumbers(connection, cookie);
        if (numbers.size() < 12)
            continue;
        std::array<int, 12> strut{};
        std::ranges::transform(numbers.begin(), numbers.begin() + 12, strut.begin(),
                               [](quint32 number) { return static_cast<int>(number); });
        const auto [left, right, top, bottom, leftFrom, leftTo, rightFrom, rightTo, topFrom, topTo,
                    bottomFrom, bottomTo] = strut;
        stripes.emplace_back(QPoint(0, leftFrom), QPoint(left - 1, leftTo));
        stripes.emplace_back(QPoint(width - right, rightFrom), QPoint(width - 1, rightTo));
        stripes.emplace_back(QPoint(topFrom, 0), QPoint(topTo, top - 1));
        stripes.emplace_back(QPoint(bottomFrom, height - bottom), QPoint(bottomTo, height - 1));
    }
    std::erase_if(stripes, [](const QRect& stripe) { return stripe.isEmpty(); });
    return stripes;
}

/// What a stripe leaves of a screen: it is cut off at the edge that the stripe runs along.
QRect without(const QRect& area, const QRect& stripe)
{
    const QRect covered = area & stripe;
    if (covered.isEmpty())
        return area;
    QRect left = area;
    const bool isRow = covered.width() * area.height() >= covered.height() * area.width();
    if (isRow && covered.top() == area.top())
        left.setTop(covered.bottom() + 1);
    else if (isRow)
        left.setBottom(covered.top() - 1);
    else if (covered.left() == area.left())
        left.setLeft(covered.right() + 1);
    else
        left.setRight(covered.left() - 1);
    return left;
}

QRectF availableGeometry(const QScreen& screen, const std::vector<QRect>& stripes)
{
    const QRect native = nativeArea(screen);
    QRect available = native;
    for (const QRect& stripe : stripes)
        available = without(available, stripe);
    const double ratio = screen.devicePixelRatio();
    const QPointF offset = QPointF(available.topLeft() - native.topLeft()) / ratio;
    const QRectF reduced(QPointF(screen.geometry().topLeft()) + offset, QSizeF(available.size()) / ratio);
    return reduced & QRectF(screen.availableGeometry());
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

X11Screens::X11Screens() = default;
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
    std::vector<QRect> stripes;
    if (connection != nullptr) {
        monitors = readMonitors(connection, toolkitScreen(connection).root);
        // With one screen the toolkit knows its work area. With several, the work area that window managers
        // publish is one rectangle for all of them and says nothing about each; the panels' own claims do.
        if (screens.size() > 1)
            stripes = reservedStripes(connection);
    }
    std::vector<Screen> result;
    for (const auto* screen : screens) {
        Screen entry;
        entry.name = screen->name();
        entry.frame = space.fromQt(QRectF(screen->geometry()));
        entry.visibleFrame = space.fromQt(availableGeometry(*screen, stripes));
        QRect native = nativeArea(*screen);
        entry.scale = screen->devicePixelRatio();
        const xcb_atom_t atom =
            connection == nullptr ? xcb_atom_t{XCB_NONE} : existingAtom(connection, screen->name().toUtf8());
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
