#include "platform/x11/X11InputExtensions.h"

#include "platform/x11/XcbXkb.h"

#include <xcb/xinput.h>
#include <xcb/xtest.h>

namespace velmo {
namespace {

/// XI 2.2: an older client gets no raw keys while another client holds a grab.
constexpr quint16 kInputMajor = 2;
constexpr quint16 kInputMinor = 2;

bool enableInput(const X11Connection& connection)
{
    const auto version =
        connection.await(xcb_input_xi_query_version_reply,
                         xcb_input_xi_query_version(connection.get(), kInputMajor, kInputMinor));
    return version && (version->major_version > kInputMajor ||
                       (version->major_version == kInputMajor && version->minor_version >= kInputMinor));
}

bool enableKeyboard(const X11Connection& connection)
{
    const auto answer = connection.await(
        xcb_xkb_use_extension_reply,
        xcb_xkb_use_extension(connection.get(), XCB_XKB_MAJOR_VERSION, XCB_XKB_MINOR_VERSION));
    return answer && answer->supported != 0;
}

/// A server may know the extension and still keep the keys of others to itself.
bool tellsRawKeys(const X11Connection& connection)
{
    return selectInput(connection, XCB_INPUT_DEVICE_ALL, XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS) &&
           selectInput(connection, XCB_INPUT_DEVICE_ALL, 0);
}

} // namespace

X11InputExtensions X11InputExtensions::probe(const X11Connection& connection)
{
    X11InputExtensions result;
    const auto* input = connection.extension(xcb_input_id);
    const auto* keyboard = connection.extension(xcb_xkb_id);
    if (input == nullptr || !enableInput(connection)) {
        result.missing = QStringLiteral("The X server lacks the input extension in version 2.2.");
    } else if (!tellsRawKeys(connection)) {
        result.missing = QStringLiteral("The X server does not let Velmo see keys.");
    } else if (keyboard == nullptr || !enableKeyboard(connection)) {
        result.missing = QStringLiteral("The X server lacks the keyboard extension (XKB).");
    } else if (connection.extension(xcb_test_id) == nullptr) {
        // A click that was held back can only be given to its application through XTEST.
        result.missing = QStringLiteral("The X server lacks the test extension (XTEST).");
    } else {
        result.inputOpcode = input->major_opcode;
        result.keyboardEvent = keyboard->first_event;
    }
    return result;
}

bool selectInput(const X11Connection& connection, quint16 devices, quint32 events)
{
    struct {
        xcb_input_event_mask_t head;
        uint32_t mask;
    } selection{{devices, 1}, events};
    const XcbPointer<xcb_generic_error_t> refusal(xcb_request_check(
        connection.get(),
        xcb_input_xi_select_events_checked(connection.get(), connection.root(), 1, &selection.head)));
    return !refusal && !connection.isBroken();
}

} // namespace velmo
