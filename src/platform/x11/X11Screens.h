#pragma once

#include "platform/Screens.h"

#include <memory>

namespace velmo {

class X11ReservedEdges;

/// The toolkit's screens with the numbers of the X server. Needs a QGuiApplication on the xcb platform.
class X11Screens final : public Screens {
public:
    X11Screens();
    ~X11Screens() override;
    [[nodiscard]] std::vector<Screen> all() const override;
    [[nodiscard]] std::optional<Screen> main() const override;
    void setChangeHandler(std::function<void()> handler) override;

private:
    class Names;
    class Watcher;
    std::unique_ptr<X11ReservedEdges> reserved_;
    std::unique_ptr<Names> names_;
    std::unique_ptr<Watcher> watcher_;
};

} // namespace velmo
