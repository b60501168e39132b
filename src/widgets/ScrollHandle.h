#pragma once

#include <QScrollBar>
#include <algorithm>
#include <cmath>
#include <optional>

namespace velmo {

/// Where the handle of one of our thin vertical scroll bars is, and what dragging it does. In points from the
/// upper end of the widget that shows it. Main thread.
class ScrollHandle {
public:
    static constexpr double kWidth = 6;
    static constexpr double kShortest = 28;

    /// The handle moves between the insets of a widget that high. Nothing where there is nothing to scroll.
    [[nodiscard]] static std::optional<ScrollHandle> of(QScrollBar& bar, double height, double endInset = 0)
    {
        const double range = bar.maximum() - bar.minimum();
        if (range <= 0)
            return std::nullopt;
        const double way = height - 2 * endInset;
        const double length =
            std::min(std::max(way * bar.pageStep() / (range + bar.pageStep()), kShortest), way);
        const double top = endInset + (way - length) * (bar.sliderPosition() - bar.minimum()) / range;
        return ScrollHandle(bar, endInset, way, top, length);
    }

    [[nodiscard]] QRectF bounds(double left) const { return {left, top_, kWidth, length_}; }

    /// Where below the handle's upper end a press at that height holds it. Beside the handle it brings the
    /// handle's middle there.
    [[nodiscard]] double grabbedAt(double y) const
    {
        return y >= top_ && y <= top_ + length_ ? y - top_ : length_ / 2;
    }

    /// Scrolls, so that what is held comes to that height.
    void drag(double y, double grabbedAt) const
    {
        const double free = way_ - length_;
        if (free <= 0)
            return;
        const double share = (y - grabbedAt - endInset_) / free;
        bar_->setValue(bar_->minimum() +
                       static_cast<int>(std::lround(share * (bar_->maximum() - bar_->minimum()))));
    }

private:
    ScrollHandle(QScrollBar& bar, double endInset, double way, double top, double length)
        : bar_(&bar)
        , endInset_(endInset)
        , way_(way)
        , top_(top)
        , length_(length)
    {}

    QScrollBar* bar_;
    double endInset_;
    double way_;
    double top_;
    double length_;
};

} // namespace velmo
