#pragma once

#include <QColor>
#include <QWidget>

namespace velmo {

/// A filled rounded rectangle with a border inside its bounds. Main thread.
class RoundedBackgroundView final : public QWidget {
public:
    RoundedBackgroundView(double cornerRadius, const QColor& backgroundColor, const QColor& borderColor,
                          QWidget* parent = nullptr);

    [[nodiscard]] double cornerRadius() const { return cornerRadius_; }
    [[nodiscard]] const QColor& backgroundColor() const { return backgroundColor_; }
    [[nodiscard]] const QColor& borderColor() const { return borderColor_; }
    [[nodiscard]] double borderWidth() const { return borderWidth_; }
    void setBackgroundColor(const QColor& color);
    void setBorderColor(const QColor& color);
    /// In points.
    void setBorderWidth(double width);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    double cornerRadius_;
    QColor backgroundColor_;
    QColor borderColor_;
    double borderWidth_ = 1;
};

} // namespace velmo
