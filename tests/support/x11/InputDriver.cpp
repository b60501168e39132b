#include "support/x11/InputDriver.h"

#include <cstddef>
#include <stdexcept>
#include <string>
#include <xcb/xtest.h>
#include <xkbcommon/xkbcommon.h>

namespace velmo::test {

InputDriver::InputDriver()
    : connection_(X11Connection::open())
{
    if (!connection_ || connection_->extension(xcb_test_id) == nullptr)
        throw std::runtime_error("no display that takes injected input");
    static_cast<void>(
        connection_->await(xcb_test_get_version_reply, xcb_test_get_version(connection_->get(), 2, 2)));
}

InputDriver::~InputDriver()
{
    for (const auto& [key, isDown] : held_) {
        if (isDown)
            send(XCB_KEY_RELEASE, key, 0, 0);
    }
}

void InputDriver::send(uint8_t type, uint8_t detail, int x, int y)
{
    const xcb_window_t root = type == XCB_MOTION_NOTIFY ? connection_->root() : xcb_window_t{XCB_NONE};
    xcb_test_fake_input(connection_->get(), type, detail, XCB_CURRENT_TIME, root, static_cast<int16_t>(x),
                        static_cast<int16_t>(y), 0);
    connection_->sync();
}

void InputDriver::post(uint8_t type, uint8_t detail)
{
    xcb_test_fake_input(connection_->get(), type, detail, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    xcb_flush(connection_->get());
}

xcb_keycode_t InputDriver::keyCode(const char* key)
{
    const xkb_keysym_t wanted = xkb_keysym_from_name(key, XKB_KEYSYM_NO_FLAGS);
    const auto* setup = xcb_get_setup(connection_->get());
    const int count = setup->max_keycode - setup->min_keycode + 1;
    const auto mapping = connection_->await(
        xcb_get_keyboard_mapping_reply,
        xcb_get_keyboard_mapping(connection_->get(), setup->min_keycode, static_cast<uint8_t>(count)));
    if (wanted != XKB_KEY_NoSymbol && mapping) {
        const auto* symbols = xcb_get_keyboard_mapping_keysyms(mapping.get());
        for (int i = 0; i < count; ++i) {
            if (symbols[std::ptrdiff_t{i} * mapping->keysyms_per_keycode] == wanted)
                return static_cast<xcb_keycode_t>(setup->min_keycode + i);
        }
    }
    throw std::runtime_error(std::string("no such key: ") + key);
}

void InputDriver::press(const char* key)
{
    const auto code = keyCode(key);
    held_[code] = true;
    send(XCB_KEY_PRESS, code, 0, 0);
}

void InputDriver::release(const char* key)
{
    const auto code = keyCode(key);
    held_[code] = false;
    send(XCB_KEY_RELEASE, code, 0, 0);
}

void InputDriver::tap(const char* key)
{
    press(key);
    release(key);
}

void InputDriver::chord(std::initializer_list<const char*> keys)
{
    hold(keys);
    letGo(keys);
}

void InputDriver::hold(std::initializer_list<const char*> keys)
{
    for (const char* key : keys)
        press(key);
}

void InputDriver::letGo(std::initializer_list<const char*> keys)
{
    for (const auto* key = keys.end(); key != keys.begin();)
        release(*--key);
}

void InputDriver::click(int button)
{
    // Together: a click is quick however slow this process is.
    post(XCB_BUTTON_PRESS, static_cast<uint8_t>(button));
    releaseButton(button);
}

void InputDriver::moveTo(int x, int y)
{
    send(XCB_MOTION_NOTIFY, 0, x, y);
}

void InputDriver::pressButton(int button)
{
    send(XCB_BUTTON_PRESS, static_cast<uint8_t>(button), 0, 0);
}

void InputDriver::releaseButton(int button)
{
    send(XCB_BUTTON_RELEASE, static_cast<uint8_t>(button), 0, 0);
}

quint32 InputDriver::modifiers() const
{
    const auto reply = connection_->await(xcb_query_pointer_reply,
                                          xcb_query_pointer(connection_->get(), connection_->root()));
    return reply ? reply->mask & 0xffU : 0;
}

} // namespace velmo::test
