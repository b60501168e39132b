#pragma once

#include "widgets/WindowTheme.h"

#include <QLabel>

namespace velmo {

/// Plain text in one of the windows' colours, with lines as far apart as the design has them. Main thread.
class TextLabel : public QLabel {
public:
    struct Style {
        double size;
        int lineHeight;
        QColor WindowTheme::*color = &WindowTheme::text;
        QFont::Weight weight = QFont::Normal;
        double tracking = 0; ///< Between letters, beyond what the font has.
    };

    explicit TextLabel(const Style& style, const QString& text = {}, QWidget* parent = nullptr);

    /// Has assistive technology read the text out, if there is any.
    void announce();

    [[nodiscard]] QColor tint() const { return WindowTheme::current().*style_.color; }

    /// Without any wrapping but at line ends.
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return {0, style_.lineHeight}; }
    /// Where words wrap at that width.
    [[nodiscard]] int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    class Lines;

    const Style style_;
    const double scale_;
};

} // namespace velmo
