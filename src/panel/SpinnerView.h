#pragma once

#include <QTimer>
#include <QWidget>

namespace velmo {

/// Tells that something is under way. Hidden when stopped. Main thread.
class SpinnerView final : public QWidget {
public:
    explicit SpinnerView(QWidget* parent = nullptr);

    void startAnimating();
    void stopAnimating();
    [[nodiscard]] bool isAnimating() const { return turn_.isActive(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QTimer turn_;
    int brightestRay_ = 0;
};

} // namespace velmo
