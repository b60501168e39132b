#pragma once

#include <QColor>
#include <QProxyStyle>
#include <QRegion>

class QStyleOptionMenuItem;

namespace velmo {

/// How our menus look, whatever the desktop's style: a rounded frame with a soft shadow, and in it rows that
/// the menu paints itself. Main thread.
class FlatMenuStyle : public QProxyStyle {
public:
    static constexpr int kInset = 5; ///< Between the frame and the rows.

    FlatMenuStyle();

    /// Points around the frame that a shadow needs, where one can be shown.
    [[nodiscard]] static int marginOfShadow();
    /// The points that are there now; 0 for none.
    int shadowMargin = 0;

    /// The part of the menu's window that is no shadow.
    [[nodiscard]] QRect frame(const QRect& window) const;
    /// What a frame without any shadow covers, for windows that cannot be translucent.
    [[nodiscard]] static QRegion shape(const QRect& frame);

    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override;
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* returned) const override;
    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                           const QWidget* widget) const override;
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override;

protected:
    [[nodiscard]] virtual QColor ground() const = 0;
    [[nodiscard]] virtual QColor border() const = 0;
    [[nodiscard]] virtual QSize rowSize(const QStyleOptionMenuItem& item) const = 0;
    virtual void paintRow(QPainter& painter, const QStyleOptionMenuItem& item) const = 0;

    /// The ground of a row that is chosen.
    static void paintHighlight(QPainter& painter, const QRectF& row, const QColor& color);

private:
    void paintFrame(QPainter& painter, const QRect& window) const;
};

} // namespace velmo
