#pragma once

#include "core/SessionCollaborators.h"

#include <vector>

namespace velmo {

/// A canvas that keeps the points of its strokes and the areas it was asked to render.
class FakeCanvas final : public DrawingCanvas {
public:
    using Stroke = std::vector<CanvasPoint>;

    void beginStroke(CanvasPoint point) override { current = Stroke{point}; }
    void extendStroke(CanvasPoint point) override
    {
        if (current)
            current->push_back(point);
    }
    bool endStroke() override
    {
        if (!current)
            return false;
        finished.push_back(*std::exchange(current, std::nullopt));
        return finished.size() == 1;
    }
    [[nodiscard]] QImage renderToImage(std::optional<CanvasRect> area) const override
    {
        renderedAreas.push_back(area);
        return image;
    }

    std::optional<Stroke> current;
    std::vector<Stroke> finished;
    mutable std::vector<std::optional<CanvasRect>> renderedAreas;
    /// What rendering gives; its size tells a test whose strokes a capture got.
    QImage image{12, 7, QImage::Format_ARGB32_Premultiplied};
};

} // namespace velmo
