#pragma once

#include "platform/x11/X11Connection.h"

#include <initializer_list>
#include <memory>
#include <unordered_map>

namespace velmo::test {

/// A hand on keyboard and mouse. Keys have the names of their first symbol: "Control_L", "space", "a". Every
/// call returns when the server has carried it out. What is still held is released at the end.
class InputDriver {
public:
    InputDriver();
    ~InputDriver();

    void press(const char* key);
    void release(const char* key);
    void tap(const char* key);

    /// Holds all but the last, taps the last, lets go.
    void chord(std::initializer_list<const char*> keys);

    /// Presses all, in order, or releases them, the last first.
    void hold(std::initializer_list<const char*> keys);
    void letGo(std::initializer_list<const char*> keys);

    void moveTo(int x, int y);
    void click(int button);
    void pressButton(int button);
    void releaseButton(int button);

    /// An event on its way when this returns: for whoever times it. The release is the caller's business.
    void post(uint8_t type, uint8_t detail);

    [[nodiscard]] xcb_keycode_t keyCode(const char* key);

    /// The X modifiers and locks that are on now.
    [[nodiscard]] quint32 modifiers() const;

private:
    void send(uint8_t type, uint8_t detail, int x, int y);

    std::unique_ptr<X11Connection> connection_;
    std::unordered_map<xcb_keycode_t, bool> held_;
};

} // namespace velmo::test
