#include "panel/PanelMenu.h"

#include "panel/QueryPanelTheme.h"
#include "widgets/SoftShadow.h"
#include "widgets/SystemFont.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QProxyStyle>
#include <QResizeEvent>
#include <QScreen>
#include <QStyleFactory>
#include <QStyleOptionMenuItem>
#include <algorithm>

namespace velmo {

namespace {

constexpr double kRadius = 10;
constexpr double kRowRadius = 6;
constexpr int kInset = 5;
constexpr int kRowHeight = 26;
constexpr int kHeaderHeight = 24;
constexpr int kSeparatorHeight = 13;
constexpr int kTextInset = 8;
constexpr int kCheckWidth = 20;
constexpr int kTextSize = 13;
constexpr SoftShadow kShadow{10, 30, 0.45F};

QColor ground()
{
    return {33, 33, 39};
}

/// Headers are told by their font: a style sees nothing else of an action.
QFont headerFont()
{
    return systemFont(11, QFont::Medium);
}

bool isHeader(const QStyleOptionMenuItem& item)
{
    return item.font.pixelSize() == headerFont().pixelSize();
}

/// Everything of a menu is painted here, so that the desktop's style has no part in it.
class PanelMenuStyle final : public QProxyStyle {
public:
    explicit PanelMenuStyle(int shadowMargin)
        : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion")))
        , shadowMargin_(shadowMargin)
    {}

    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override
    {
        switch (metric) {
        case PM_MenuPanelWidth:
            return shadowMargin_;
        case PM_MenuHMargin:
        case PM_MenuVMargin:
            return kInset;
        default:
            return QProxyStyle::pixelMetric(metric, option, widget);
        }
    }

    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* returned) const override
    {
        // The shape of the window is the menu's own affair.
        if (hint == SH_Menu_Mask)
            return 0;
        return QProxyStyle::styleHint(hint, option, widget, returned);
    }

    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& size,
                           const QWidget* widget) const override
    {
        const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
        if (type != CT_MenuItem || item == nullptr)
            return QProxyStyle::sizeFromContents(type, option, size, widget);
        const int text = QFontMetrics(item->font).horizontalAdvance(item->text);
        const int width = std::max(PanelMenu::kWidth - 2 * kInset, text + kCheckWidth + 3 * kTextInset);
        if (item->menuItemType == QStyleOptionMenuItem::Separator)
            return {width, kSeparatorHeight};
        return {width, isHeader(*item) ? kHeaderHeight : kRowHeight};
    }

    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override
    {
        if (element == PE_PanelMenu)
            paintGround(*painter, option->rect);
        else if (element != PE_FrameMenu)
            QProxyStyle::drawPrimitive(element, option, painter, widget);
    }

    void drawControl(ControlElement element, const QStyleOption* option, QPainter* painter,
                     const QWidget* widget) const override
    {
        const auto* item = qstyleoption_cast<const QStyleOptionMenuItem*>(option);
        if (element == CE_MenuItem && item != nullptr)
            paintItem(*painter, *item);
        else if (element != CE_MenuEmptyArea)
            QProxyStyle::drawControl(element, option, painter, widget);
    }

private:
    void paintGround(QPainter& painter, const QRect& window) const
    {
        const QRectF frame =
            QRectF(window).adjusted(shadowMargin_, shadowMargin_, -shadowMargin_, -shadowMargin_);
        if (shadowMargin_ > 0)
            paintSoftShadow(painter, frame, kRadius, kShadow);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setBrush(ground());
        painter.setPen(QPen(blended(ground(), Qt::white, 0.14), 1));
        painter.drawRoundedRect(frame.adjusted(0.5, 0.5, -0.5, -0.5), kRadius, kRadius);
    }

    static void paintItem(QPainter& painter, const QStyleOptionMenuItem& item)
    {
        const QRectF row(item.rect);
        if (item.menuItemType == QStyleOptionMenuItem::Separator) {
            painter.fillRect(
                QRectF(row.left() + kTextInset, row.center().y(), row.width() - 2 * kTextInset, 1),
                white(0.1F));
            return;
        }
        painter.setRenderHint(QPainter::Antialiasing);
        const bool isEnabled = item.state.testFlag(State_Enabled);
        if (isEnabled && item.state.testFlag(State_Selected)) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(QColor(0x54, 0x61, 0xf0));
            painter.drawRoundedRect(row, kRowRadius, kRowRadius);
        }
        painter.setFont(item.font);
        painter.setPen(isHeader(item) ? white(0.55F) : white(isEnabled ? 1.0F : 0.38F));
        const int indent =
            isHeader(item) || !item.menuHasCheckableItems ? kTextInset : kTextInset + kCheckWidth;
        painter.drawText(row.adjusted(indent, 0, -kTextInset, 0),
                         Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                         item.text.section(u'\t', 0, 0));
        if (item.checkType != QStyleOptionMenuItem::NotCheckable && item.checked)
            paintCheckMark(painter, QPointF(row.left() + kTextInset, row.center().y()));
    }

    static void paintCheckMark(QPainter& painter, QPointF leftMiddle)
    {
        QPainterPath mark;
        mark.moveTo(leftMiddle + QPointF(2, 0));
        mark.lineTo(leftMiddle + QPointF(4.5, 2.75));
        mark.lineTo(leftMiddle + QPointF(9.5, -3.25));
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(Qt::white, 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPath(mark);
    }

    int shadowMargin_;
};

} // namespace

PanelMenu::PanelMenu(QWidget* parent, const WindowSurfaces& windows)
    : QMenu(parent)
    , shadowMargin_(windows.isComposited() ? kShadow.margin() : 0)
{
    auto* style = new PanelMenuStyle(shadowMargin_);
    style->setParent(this);
    setStyle(style);
    setFont(systemFont(kTextSize));
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowFlag(Qt::NoDropShadowWindowHint);
}

QAction* PanelMenu::addHeader(const QString& title)
{
    QAction* header = addAction(title);
    header->setEnabled(false);
    header->setFont(headerFont());
    return header;
}

void PanelMenu::popupAt(const QRect& area, int gap)
{
    const QSize size = sizeHint();
    const QScreen* under = QGuiApplication::screenAt(area.topLeft());
    const QRect room = (under != nullptr ? under : screen())->geometry();
    const int width = size.width() - 2 * shadowMargin_;
    const int left = std::max(std::min(area.left(), room.right() + 1 - width), room.left());
    const int below = area.bottom() + 1 + gap;
    const int height = size.height() - 2 * shadowMargin_;
    const bool fitsBelow = below + height <= room.bottom() + 1;
    const int top = fitsBelow ? below : area.top() - gap - height;
    const QPoint corner = QPoint(left, top) - QPoint(shadowMargin_, shadowMargin_);
    popup(corner);
    // The toolkit moves a window that leaves the screen, although only its shadow does.
    move(corner);
}

void PanelMenu::mousePressEvent(QMouseEvent* event)
{
    const QRect frame = rect().adjusted(shadowMargin_, shadowMargin_, -shadowMargin_, -shadowMargin_);
    // On the shadow it is one beside the menu.
    if (frame.contains(event->position().toPoint()))
        QMenu::mousePressEvent(event);
    else
        close();
}

void PanelMenu::resizeEvent(QResizeEvent* event)
{
    QMenu::resizeEvent(event);
    if (shadowMargin_ > 0)
        return;
    // There is no translucency: the corners are cut off.
    QPainterPath shape;
    shape.addRoundedRect(QRectF(rect()), kRadius, kRadius);
    setMask(QRegion(shape.toFillPolygon().toPolygon()));
}

} // namespace velmo
