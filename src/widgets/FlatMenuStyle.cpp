#include "widgets/FlatMenuStyle.h"

#include "widgets/SoftShadow.h"

#include <QPainter>
#include <QPainterPath>
#include <QStyleFactory>
#include <QStyleOptionMenuItem>

namespace velmo {

namespace {

constexpr double kRadius = 10;
constexpr double kRowRadius = 6;
constexpr SoftShadow kShadow{10, 30, 0.45F};

} // namespace

FlatMenuStyle::FlatMenuStyle()
    : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion")))
{}

int FlatMenuStyle::marginOfShadow()
{
    return kShadow.margin();
}

QRect FlatMenuStyle::frame(const QRect& window) const
{
    return window.adjusted(shadowMargin, shadowMargin, -shadowMargin, -shadowMargin);
}

QRegion FlatMenuStyle::shape(const QRect& frame)
{
    QPainterPath path;
    path.addRoundedRect(QRectF(frame), kRadius, kRadius);
    return {path.toFillPolygon().toPolygon()};
}

int FlatMenuStyle::pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const
{
    switch (metric) {
    case PM_MenuPanelWidth:
        return shadowMargin;
    case PM_MenuHMargin:
    case PM_MenuVMargin:
        return kInset;
    default:
        return QProxyStyle::pixelMetric(metric, option, widget);
    }
}

int FlatMenuStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                             QStyleHintReturn* returned) const
{
    // The shape of the window is the menu's own affair.
    if (hint == SH_Menu_Mask)
        return 0;
    return QProxyStyle::styleHint(hint, option, widget, returned);
}

QSize FlatMenuStyle::sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                                      const QWidget* widget) const
{
    const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
    if (type != CT_MenuItem || item == nullptr)
        return QProxyStyle::sizeFromContents(type, option, size, widget);
    return rowSize(*item);
}

void FlatMenuStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                                  const QWidget* widget) const
{
    if (element == PE_PanelMenu)
        paintFrame(*painter, option->rect);
    else if (element != PE_FrameMenu)
        QProxyStyle::drawPrimitive(element, option, painter, widget);
}

void FlatMenuStyle::drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                                const QWidget* widget) const
{
    const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
    if (element == CE_MenuItem && item != nullptr)
        paintRow(*painter, *item);
    else if (element != CE_MenuEmptyArea)
        QProxyStyle::drawControl(element, option, painter, widget);
}

void FlatMenuStyle::paintHighlight(QPainter& painter, const QRectF& row, const QColor& color)
{
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(row, kRowRadius, kRowRadius);
}

void FlatMenuStyle::paintFrame(QPainter& painter, const QRect& window) const
{
    const QRectF outline(frame(window));
    if (shadowMargin > 0)
        paintSoftShadow(painter, outline, kRadius, kShadow);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(ground());
    painter.setPen(QPen(border(), 1));
    painter.drawRoundedRect(outline.adjusted(0.5, 0.5, -0.5, -0.5), kRadius, kRadius);
}

} // namespace velmo
