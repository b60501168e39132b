#pragma once

#include "platform/Screens.h"

namespace velmo {

/// The screens that a test arranges.
class FakeScreens final : public Screens {
public:
    [[nodiscard]] std::vector<Screen> all() const override { return screens; }
    [[nodiscard]] std::optional<Screen> main() const override { return mainScreen; }

    void setChangeHandler(std::function<void()> handler) override { onChange = std::move(handler); }

    [[nodiscard]] static Screen screen(const QString& name, std::optional<quint32> displayID,
                                       ScreenRect frame)
    {
        Screen screen;
        screen.name = name;
        screen.displayID = displayID;
        screen.frame = frame;
        screen.visibleFrame = frame;
        return screen;
    }

    std::vector<Screen> screens;
    std::optional<Screen> mainScreen;
    std::function<void()> onChange;
};

} // namespace velmo
