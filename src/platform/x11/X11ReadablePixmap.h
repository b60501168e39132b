#pragma once

#include "platform/x11/X11Connection.h"

#include <QImage>
#include <QSize>
#include <cstddef>
#include <memory>
#include <xcb/shm.h>

namespace velmo {

/// A pixmap of depth 32 in the server whose pixels can be read back cheaply: from memory shared with the
/// server where both allow it, else over the connection.
class X11ReadablePixmap {
public:
    /// Null when the server has no room for it.
    [[nodiscard]] static std::unique_ptr<X11ReadablePixmap> create(X11Connection& connection, QSize size);
    ~X11ReadablePixmap();
    X11ReadablePixmap(const X11ReadablePixmap&) = delete;
    X11ReadablePixmap& operator=(const X11ReadablePixmap&) = delete;

    [[nodiscard]] xcb_pixmap_t id() const { return pixmap_; }

    /// The pixels as Format_RGB32, after all requests so far; their alpha is ignored. Null on failure.
    [[nodiscard]] QImage read();

private:
    X11ReadablePixmap(X11Connection& connection, QSize size);
    [[nodiscard]] bool shareMemory();
    [[nodiscard]] bool createPixmap();
    [[nodiscard]] QImage readOverConnection();

    X11Connection& connection_;
    QSize size_;
    xcb_pixmap_t pixmap_ = XCB_NONE;
    xcb_shm_seg_t segment_ = XCB_NONE;
    uchar* memory_ = nullptr;
    std::size_t bytes_ = 0;
    bool pixmapIsShared_ = false;
};

/// A rectangle of the root as it is on the screen, whatever the screen's depth. Null on failure.
[[nodiscard]] QImage readRootImage(X11Connection& connection, const QRect& rectangle);

/// A rectangle of a pixmap of the root's depth. Null on failure.
[[nodiscard]] QImage readPixmapImage(X11Connection& connection, xcb_pixmap_t pixmap, const QRect& rectangle);

} // namespace velmo
