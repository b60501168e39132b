#include "platform/x11/X11PointerSpace.h"

#include "core/CoordinateSpace.h"

#include <algorithm>

namespace velmo {
namespace {

qint64 squaredDistance(PixelPoint pixel, PixelRect rect)
{
    const auto beyond = [](int value, int from, int length) -> qint64 {
        return std::max({from - value, value - (from + length - 1), 0});
    };
    const qint64 dx = beyond(pixel.x, rect.x, rect.width);
    const qint64 dy = beyond(pixel.y, rect.y, rect.height);
    return dx * dx + dy * dy;
}

} // namespace

void X11PointerSpace::setScreens(const std::vector<Screen>& screens)
{
    const std::lock_guard lock(mutex_);
    screens_ = screens;
    // The main screen is the one whose lower left corner is where screen coordinates begin.
    const auto main = std::ranges::find_if(
        screens, [](const Screen& screen) { return screen.frame.x == 0 && screen.frame.y == 0; });
    mainTop_ = main == screens.end() ? 0 : main->frame.maxY();
}

TopDownPoint X11PointerSpace::fromNative(PixelPoint pixel) const
{
    const std::lock_guard lock(mutex_);
    const auto nearest = std::ranges::min_element(
        screens_, {}, [&](const Screen& screen) { return squaredDistance(pixel, screen.nativeFrame); });
    if (nearest == screens_.end())
        return {static_cast<double>(pixel.x), static_cast<double>(pixel.y)};
    return topDownFromScreen(
        screenPointFromNative(pixel, nearest->nativeFrame, nearest->frame, nearest->scale), mainTop_);
}

} // namespace velmo
