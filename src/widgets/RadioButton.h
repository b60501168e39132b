#pragma once

#include "widgets/MarkedButton.h"

namespace velmo {

/// One of several choices: those with the same parent exclude one another, and arrow keys go from one to the
/// next. Main thread.
class RadioButton final : public MarkedButton {
public:
    explicit RadioButton(const QString& title, QWidget* parent = nullptr);

protected:
    void paintMark(QPainter& painter, const QRectF& mark, const WindowTheme& theme) override;
};

} // namespace velmo
