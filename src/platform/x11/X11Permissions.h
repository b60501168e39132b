#pragma once

#include "platform/Permissions.h"

#include <memory>

namespace velmo {

class X11Connection;

/// What an X server offers to this program. Keeps a connection open, so that each question costs one short
/// round trip; a lost connection is opened again at the next question.
class X11Permissions final : public DisplayPermissions {
public:
    X11Permissions();
    ~X11Permissions() override;

    /// The server has XI 2.2, XKB and XTEST. Probed once per connection.
    [[nodiscard]] bool accessibilityGranted() override;

    /// A pixel of the root can be read, and shows something.
    [[nodiscard]] bool screenRecordingGranted() override;

    /// An X server knows no such request.
    void requestScreenRecording() override {}

private:
    [[nodiscard]] bool connect();

    std::unique_ptr<X11Connection> connection_;
    bool inputIsWatchable_ = false;
    bool screenIsShown_ = false;
};

} // namespace velmo
