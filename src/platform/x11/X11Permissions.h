#pragma once

#include "platform/Permissions.h"

#include <memory>
#include <optional>
#include <xcb/xproto.h>

namespace velmo {

class X11Connection;

/// What an X server offers to this program. Keeps a connection open, and waits for an answer only when that
/// is new; a lost connection is opened again at the next question.
class X11Permissions final : public DisplayPermissions {
public:
    X11Permissions();
    ~X11Permissions() override;

    /// The server has XI 2.2, XKB and XTEST. Probed once per connection.
    [[nodiscard]] bool accessibilityGranted() override;

    /// A pixel of the root can be read, and shows something: as the server said to the question before this
    /// one. Waiting for the answer would wake the program twice a second instead of once.
    [[nodiscard]] bool screenRecordingGranted() override;

    /// An X server knows no such request.
    void requestScreenRecording() override {}

private:
    [[nodiscard]] bool connect();
    void readAnswer();

    std::unique_ptr<X11Connection> connection_;
    bool inputIsWatchable_ = false;
    bool screenIsShown_ = false;
    bool screenIsReadable_ = false;
    std::optional<xcb_get_image_cookie_t> question_; ///< The one that is to be answered.
};

} // namespace velmo
