#include "Desktop.h"

#include "platform/x11/X11Connection.h"
#include "platform/x11/X11ReadablePixmap.h"
#include "platform/x11/X11WindowStack.h"
#include "support/capture/Pictures.h"
#include "support/x11/Await.h"

namespace velmo::bench {

namespace {

test::VirtualDisplay::Options optionsFor(QSize size)
{
    test::VirtualDisplay::Options options;
    options.screen = QByteArray::number(size.width()) + 'x' + QByteArray::number(size.height()) + "x24";
    return options;
}

QByteArray geometry(const QRect& area)
{
    return QByteArray::number(area.width()) + 'x' + QByteArray::number(area.height()) + '+' +
           QByteArray::number(area.x()) + '+' + QByteArray::number(area.y());
}

} // namespace

Desktop::Desktop(QSize size, Windows windows)
    : size_(size)
    , display_(optionsFor(size))
    , connection_(X11Connection::open())
{
    if (!connection_ || !display_.startWindowManager())
        return;
    setWallpaper();
    ready_ = (windows == Windows::None || openWindows()) && settle();
}

Desktop::~Desktop() = default;

QImage Desktop::grab()
{
    return readRootImage(*connection_, QRect(QPoint(), size_));
}

void Desktop::setWallpaper()
{
    const QImage picture = photograph(size_);
    xcb_connection_t* xcb = connection_->get();
    const auto& screen = connection_->screen();
    const xcb_pixmap_t pixmap = xcb_generate_id(xcb);
    const xcb_gcontext_t context = xcb_generate_id(xcb);
    const auto width = static_cast<uint16_t>(size_.width());
    xcb_create_pixmap(xcb, screen.root_depth, pixmap, screen.root, width,
                      static_cast<uint16_t>(size_.height()));
    xcb_create_gc(xcb, context, pixmap, 0, nullptr);
    // One request holds no more than a few rows.
    for (int row = 0; row < picture.height(); ++row)
        xcb_put_image(xcb, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, context, width, 1, 0, static_cast<int16_t>(row),
                      0, screen.root_depth, static_cast<uint32_t>(picture.bytesPerLine()),
                      picture.constScanLine(row));
    xcb_change_window_attributes(xcb, screen.root, XCB_CW_BACK_PIXMAP, &pixmap);
    xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, screen.root, connection_->atom("_XROOTPMAP_ID"),
                        XCB_ATOM_PIXMAP, 32, 1, &pixmap);
    xcb_clear_area(xcb, 0, screen.root, 0, 0, 0, 0);
    connection_->sync();
}

bool Desktop::openWindows()
{
    const int before = countViewableWindows(*connection_);
    const int width = size_.width();
    const int height = size_.height();
    const QRect areas[]{{width * 3 / 100, height * 6 / 100, width * 58 / 100, height * 68 / 100},
                        {width * 50 / 100, height * 25 / 100, width * 46 / 100, height * 62 / 100},
                        {width * 12 / 100, height * 55 / 100, width * 34 / 100, height * 36 / 100}};
    for (const QRect& area : areas)
        windows_.emplace_back(QList<QByteArray>{VELMO_DESK, "-qwindowgeometry", geometry(area)});
    return test::awaitCondition(
        [&] { return countViewableWindows(*connection_) >= before + int(std::size(areas)); });
}

bool Desktop::settle()
{
    // Programs that start paint again when the focus moves on to the next of them.
    constexpr auto kCalm = std::chrono::milliseconds(800);
    QImage last = grab();
    auto since = std::chrono::steady_clock::now();
    return test::awaitCondition([&] {
        QImage now = grab();
        if (!showsTheSame(now, last))
            since = std::chrono::steady_clock::now();
        last = std::move(now);
        return std::chrono::steady_clock::now() - since > kCalm;
    });
}

bool showsTheSame(const QImage& first, const QImage& second)
{
    constexpr double kCursor = 0.0005;
    return differingPart(first, second) < kCursor;
}

} // namespace velmo::bench
