#pragma once

#include <QWidget>

namespace velmo {

/// Lets what scrolls below it fade into the card's ground, from its top to its bottom. Main thread.
class GradientFadeView final : public QWidget {
public:
    explicit GradientFadeView(QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace velmo
