#pragma once

#include <QWidget>

namespace velmo {

/// The box around what can be typed in, with a halo while that has the keyboard. The halo needs room of its
/// own: the box is by kHalo smaller than the widget on each side. Main thread.
class FieldFrame final : public QWidget {
public:
    static constexpr int kHalo = 3;

    /// Takes the field into the box, at that distance from its edges.
    FieldFrame(QWidget* field, QMargins padding, QWidget* parent = nullptr);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    [[nodiscard]] QRect box() const { return rect().adjusted(kHalo, kHalo, -kHalo, -kHalo); }

    QWidget* field_;
    QMargins padding_;
};

} // namespace velmo
