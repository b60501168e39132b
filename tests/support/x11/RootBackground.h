#pragma once

#include "platform/x11/X11Connection.h"

#include <memory>

namespace velmo::test {

/// A wallpaper on the root, as a program that sets one leaves it. The destructor makes the root black again.
class RootBackground {
public:
    enum class Announced { No, Yes }; ///< Whether a property tells other programs about the picture.

    explicit RootBackground(Announced announced);
    ~RootBackground();

private:
    std::unique_ptr<X11Connection> connection_;
    xcb_pixmap_t picture_ = XCB_NONE;
};

} // namespace velmo::test
