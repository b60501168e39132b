#pragma once

#include "platform/Screens.h"

namespace velmo {

/// The toolkit's screens with the numbers of the X server. Needs a QGuiApplication on the xcb platform.
class X11Screens final : public Screens {
public:
    [[nodiscard]] std::vector<Screen> all() const override;
    [[nodiscard]] std::optional<Screen> main() const override;
};

} // namespace velmo
