#pragma once

#include "widgets/MarkedButton.h"

namespace velmo {

/// A choice that is made or not. Main thread.
class CheckBox final : public MarkedButton {
public:
    explicit CheckBox(const QString& title, QWidget* parent = nullptr);

protected:
    void paintMark(QPainter& painter, const QRectF& mark, const WindowTheme& theme) override;
};

} // namespace velmo
