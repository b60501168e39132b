#pragma once

#include "platform/x11/X11Connection.h"

#include <initializer_list>
#include <memory>

namespace velmo::test {

/// One more keyboard and pointer on the display, and a hand on them. They are unplugged with the object.
class SecondSeat {
public:
    SecondSeat();
    ~SecondSeat();
    SecondSeat(const SecondSeat&) = delete;
    SecondSeat& operator=(const SecondSeat&) = delete;

    /// Whether the server has them.
    [[nodiscard]] bool isThere() const { return pointer_ != 0; }

    /// Presses the keys one after the other and releases them backwards.
    void type(std::initializer_list<xcb_keycode_t> keys) const;

private:
    void plugIn();

    std::unique_ptr<X11Connection> connection_ = X11Connection::open();
    quint16 pointer_ = 0; ///< The device's number.
};

} // namespace velmo::test
