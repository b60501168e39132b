#pragma once

#include <QEvent>
#include <QObject>
#include <QPaintEvent>
#include <QRegion>
#include <QWidget>

namespace velmo {

/// What of a widget has been painted since this began, or was asked anew.
class Paints final : public QObject {
public:
    explicit Paints(QWidget& widget)
        : widget_(widget)
    {
        widget.installEventFilter(this);
    }

    [[nodiscard]] bool isAll() const { return QRegion(widget_.rect()).subtracted(painted_).isEmpty(); }
    [[nodiscard]] bool isNothing() const { return painted_.isEmpty(); }
    void forget() { painted_ = {}; }

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            painted_ += static_cast<const QPaintEvent&>(*event).region();
        return false;
    }

private:
    QWidget& widget_;
    QRegion painted_;
};

} // namespace velmo
