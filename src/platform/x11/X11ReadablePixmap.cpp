#include "platform/x11/X11ReadablePixmap.h"

#include <QtEndian>
#include <sys/mman.h>
#include <unistd.h>

namespace velmo {
namespace {

constexpr quint32 kAllPlanes = 0xffffffff;
constexpr quint32 kOpaque = 0xff000000;

/// Servers place pixels of 32 bits without gaps, so a line has exactly its pixels.
QImage opaqueCopy(const uchar* bytes, QSize size, bool swapBytes)
{
    QImage image(size, QImage::Format_RGB32);
    if (image.isNull())
        return image;
    const auto* source = reinterpret_cast<const quint32*>(bytes);
    for (int y = 0; y < size.height(); ++y) {
        auto* line = reinterpret_cast<quint32*>(image.scanLine(y));
        for (int x = 0; x < size.width(); ++x)
            line[x] = (swapBytes ? qbswap(source[x]) : source[x]) | kOpaque;
        source += size.width();
    }
    return image;
}

bool hasForeignByteOrder(const X11Connection& connection)
{
    const bool serverIsBig = xcb_get_setup(connection.get())->image_byte_order == XCB_IMAGE_ORDER_MSB_FIRST;
    return serverIsBig != (Q_BYTE_ORDER == Q_BIG_ENDIAN);
}

int bitsPerPixel(const X11Connection& connection, int depth)
{
    for (auto format = xcb_setup_pixmap_formats_iterator(xcb_get_setup(connection.get())); format.rem > 0;
         xcb_format_next(&format)) {
        if (format.data->depth == depth)
            return format.data->bits_per_pixel;
    }
    return 0;
}

XcbPointer<xcb_get_image_reply_t> getImage(const X11Connection& connection, xcb_drawable_t drawable,
                                           const QRect& area)
{
    return connection.await(xcb_get_image_reply,
                            xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, drawable,
                                          static_cast<int16_t>(area.x()), static_cast<int16_t>(area.y()),
                                          static_cast<uint16_t>(area.width()),
                                          static_cast<uint16_t>(area.height()), kAllPlanes));
}

} // namespace

std::unique_ptr<X11ReadablePixmap> X11ReadablePixmap::create(X11Connection& connection, QSize size)
{
    std::unique_ptr<X11ReadablePixmap> pixmap(new X11ReadablePixmap(connection, size));
    return pixmap->createPixmap() ? std::move(pixmap) : nullptr;
}

X11ReadablePixmap::X11ReadablePixmap(X11Connection& connection, QSize size)
    : connection_(connection)
    , size_(size)
    , pixmap_(xcb_generate_id(connection.get()))
    , bytes_(static_cast<std::size_t>(size.width()) * static_cast<std::size_t>(size.height()) * 4)
{}

bool X11ReadablePixmap::createPixmap()
{
    xcb_connection_t* xcb = connection_.get();
    const auto width = static_cast<uint16_t>(size_.width());
    const auto height = static_cast<uint16_t>(size_.height());
    // Drawing into a pixmap that was refused leaves its memory black, so the answers are awaited.
    if (shareMemory() && pixmapIsShared_) {
        const XcbPointer<xcb_generic_error_t> refusal(
            xcb_request_check(xcb, xcb_shm_create_pixmap_checked(xcb, pixmap_, connection_.root(), width,
                                                                 height, 32, segment_, 0)));
        if (!refusal)
            return !connection_.isBroken();
        pixmapIsShared_ = false;
    }
    const XcbPointer<xcb_generic_error_t> refusal(xcb_request_check(
        xcb, xcb_create_pixmap_checked(xcb, 32, pixmap_, connection_.root(), width, height)));
    if (refusal)
        pixmap_ = XCB_NONE;
    return !refusal && !connection_.isBroken();
}

X11ReadablePixmap::~X11ReadablePixmap()
{
    if (pixmap_ != XCB_NONE)
        xcb_free_pixmap(connection_.get(), pixmap_);
    if (memory_ == nullptr)
        return;
    xcb_shm_detach(connection_.get(), segment_);
    xcb_flush(connection_.get());
    munmap(memory_, bytes_);
}

bool X11ReadablePixmap::shareMemory()
{
    if (hasForeignByteOrder(connection_) || connection_.extension(xcb_shm_id) == nullptr)
        return false;
    const auto version =
        connection_.await(xcb_shm_query_version_reply, xcb_shm_query_version(connection_.get()));
    // Version 1.2 takes a descriptor, which unlike a numbered segment cannot outlive a crash.
    if (!version || version->major_version != 1 || version->minor_version < 2)
        return false;
    const int descriptor = memfd_create("velmo-capture", MFD_CLOEXEC);
    if (descriptor < 0)
        return false;
    void* memory = MAP_FAILED;
    if (ftruncate(descriptor, static_cast<off_t>(bytes_)) == 0)
        memory = mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (memory == MAP_FAILED) {
        close(descriptor);
        return false;
    }
    segment_ = xcb_generate_id(connection_.get());
    // The descriptor belongs to xcb from here on. A server on another machine refuses it.
    const XcbPointer<xcb_generic_error_t> error(xcb_request_check(
        connection_.get(), xcb_shm_attach_fd_checked(connection_.get(), segment_, descriptor, 0)));
    if (error || connection_.isBroken()) {
        munmap(memory, bytes_);
        return false;
    }
    memory_ = static_cast<uchar*>(memory);
    pixmapIsShared_ = version->shared_pixmaps != 0 && version->pixmap_format == XCB_IMAGE_FORMAT_Z_PIXMAP;
    return true;
}

QImage X11ReadablePixmap::read()
{
    if (memory_ == nullptr)
        return readOverConnection();
    if (pixmapIsShared_) {
        connection_.sync();
        return connection_.isBroken() ? QImage() : opaqueCopy(memory_, size_, false);
    }
    const auto reply = connection_.await(xcb_shm_get_image_reply,
                                         xcb_shm_get_image(connection_.get(), pixmap_, 0, 0,
                                                           static_cast<uint16_t>(size_.width()),
                                                           static_cast<uint16_t>(size_.height()), kAllPlanes,
                                                           XCB_IMAGE_FORMAT_Z_PIXMAP, segment_, 0));
    return reply ? opaqueCopy(memory_, size_, false) : readOverConnection();
}

QImage X11ReadablePixmap::readOverConnection()
{
    const auto reply = getImage(connection_, pixmap_, QRect(QPoint(0, 0), size_));
    if (!reply || static_cast<std::size_t>(xcb_get_image_data_length(reply.get())) < bytes_)
        return {};
    return opaqueCopy(xcb_get_image_data(reply.get()), size_, hasForeignByteOrder(connection_));
}

QImage readRootImage(X11Connection& connection, const QRect& rectangle)
{
    return readPixmapImage(connection, connection.root(), rectangle);
}

QImage readPixmapImage(X11Connection& connection, xcb_pixmap_t pixmap, const QRect& rectangle)
{
    const auto reply = getImage(connection, pixmap, rectangle);
    if (!reply)
        return {};
    const int bits = bitsPerPixel(connection, reply->depth);
    const auto* data = xcb_get_image_data(reply.get());
    const auto length = static_cast<qsizetype>(xcb_get_image_data_length(reply.get()));
    const qsizetype bytesPerLine = (qsizetype{rectangle.width()} * bits + 31) / 32 * 4;
    if (length < bytesPerLine * rectangle.height())
        return {};
    const bool swapBytes = hasForeignByteOrder(connection);
    if (bits == 32 && reply->depth != 30)
        return opaqueCopy(data, rectangle.size(), swapBytes);
    if (swapBytes || (reply->depth != 30 && reply->depth != 16))
        return {};
    const auto format = reply->depth == 30 ? QImage::Format_RGB30 : QImage::Format_RGB16;
    const QImage image(data, rectangle.width(), rectangle.height(), bytesPerLine, format);
    // The conversion leaves the unused bits of a pixel to chance.
    return opaqueCopy(image.convertToFormat(QImage::Format_RGB32).constBits(), rectangle.size(), false);
}

} // namespace velmo
