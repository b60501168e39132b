#include "support/x11/Painting.h"

#include "support/x11/Await.h"
#include "support/x11/PlainClient.h"

#include <QColor>
#include <cstdlib>
#include <memory>
#include <optional>

namespace velmo::test {
namespace {

std::optional<quint32> colorAt(X11Connection& connection, QPoint place)
{
    const auto image = connection.await(xcb_get_image_reply,
                                        xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP,
                                                      connection.root(), static_cast<int16_t>(place.x()),
                                                      static_cast<int16_t>(place.y()), 1, 1, 0xffffffff));
    if (!image || xcb_get_image_data_length(image.get()) < 4)
        return std::nullopt;
    return *reinterpret_cast<const quint32*>(xcb_get_image_data(image.get())) & 0xffffff;
}

/// A window manager answers this question about a window that is never shown, after what was asked before.
bool awaitManager(X11Connection& connection)
{
    // The announcement on the root outlives its window manager.
    const xcb_atom_t check = connection.atom("_NET_SUPPORTING_WM_CHECK");
    const xcb_window_t manager = readNumber(connection.get(), connection.root(), check);
    if (manager == XCB_NONE || readNumber(connection.get(), manager, check) != manager)
        return true;
    xcb_connection_t* xcb = connection.get();
    const xcb_window_t window = xcb_generate_id(xcb);
    xcb_create_window(xcb, XCB_COPY_FROM_PARENT, window, connection.root(), 0, 0, 10, 10, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_client_message_event_t question{};
    question.response_type = XCB_CLIENT_MESSAGE;
    question.format = 32;
    question.window = window;
    question.type = connection.atom("_NET_REQUEST_FRAME_EXTENTS");
    xcb_send_event(xcb, 0, connection.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&question));
    const xcb_atom_t answer = connection.atom("_NET_FRAME_EXTENTS");
    const bool answered = awaitCondition([&] { return !readNumbers(xcb, window, answer).empty(); });
    xcb_destroy_window(xcb, window);
    return answered;
}

/// Only a compositing manager lets one window shine through another, and it paints everything at once.
bool awaitCompositor(X11Connection& connection)
{
    if (connection.compositingManager() == XCB_NONE)
        return true;
    constexpr QPoint kPlace(8, 8);
    constexpr quint32 kBlended = 0xbf7f7f;
    PlainClient::Options options;
    options.area = QRect(0, 0, 16, 16);
    options.bypassesManager = true;
    options.color = 0xffffff;
    options.isPlain = true;
    auto below = std::make_unique<PlainClient>(options);
    options.color = 0x80400000;
    options.isTranslucent = true;
    auto above = std::make_unique<PlainClient>(options);
    const auto isBlended = [&] {
        const auto color = colorAt(connection, kPlace);
        return color && std::abs(qRed(*color) - qRed(kBlended)) <= 1 &&
               std::abs(qBlue(*color) - qBlue(kBlended)) <= 1;
    };
    const bool appeared = awaitCondition(isBlended);
    below.reset();
    above.reset();
    return appeared && awaitCondition([&] {
               const auto color = colorAt(connection, kPlace);
               return color && !isBlended() && *color != 0xffffff && *color != 0x400000;
           });
}

} // namespace

bool awaitPainting(X11Connection& connection)
{
    return awaitManager(connection) && awaitCompositor(connection);
}

} // namespace velmo::test
