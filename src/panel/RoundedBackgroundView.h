#pragma once

#include <QColor>
#include <QWidget>

namespace velmo {

/// A filled rounded rectangle with a border inside its bounds.
class RoundedBackgroundView final : public QWidget {
public:
    RoundedBackgroundView(double cornerRadius, const QColor& background, const QColor& border,
                          QWidget* parent = nullptr);
    void setBorderColor(const QColor& color);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    double cornerRadius_;
    QColor background_;
    QColor border_;
};

} // namespace velmo
