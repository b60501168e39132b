#include "panel/PanelMenu.h"

#include "panel/QueryPanelTheme.h"
#include "widgets/FlatMenuStyle.h"
#include "widgets/SystemFont.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QResizeEvent>
#include <QScreen>
#include <QStyleOptionMenuItem>
#include <algorithm>

namespace velmo {

namespace {

constexpr int kRowHeight = 26;
constexpr int kHeaderHeight = 24;
constexpr int kSeparatorHeight = 13;
constexpr int kTextInset = 8;
constexpr int kCheckWidth = 20;
constexpr int kTextSize = 13;

/// Headers are told by their font: a style sees nothing else of an action.
QFont headerFont()
{
    return systemFont(11, QFont::Medium);
}

bool isHeader(const QStyleOptionMenuItem& item)
{
    return item.font.pixelSize() == headerFont().pixelSize();
}

class PanelMenuStyle final : public FlatMenuStyle {
private:
    [[nodiscard]] QColor ground() const override { return {33, 33, 39}; }
    [[nodiscard]] QColor border() const override { return blended(ground(), Qt::white, 0.14); }

    [[nodiscard]] QSize rowSize(const QStyleOptionMenuItem& item) const override
    {
        const int text = QFontMetrics(item.font).horizontalAdvance(item.text);
        const int width = std::max(PanelMenu::kWidth - 2 * kInset, text + kCheckWidth + 3 * kTextInset);
        if (item.menuItemType == QStyleOptionMenuItem::Separator)
            return {width, kSeparatorHeight};
        return {width, isHeader(item) ? kHeaderHeight : kRowHeight};
    }

    void paintRow(QPainter& painter, const QStyleOptionMenuItem& item) const override
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
        if (isEnabled && item.state.testFlag(State_Selected))
            paintHighlight(painter, row, QColor(0x54, 0x61, 0xf0));
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
};

} // namespace

PanelMenu::PanelMenu(QWidget* parent, const WindowSurfaces& windows)
    : QMenu(parent)
    , style_(new PanelMenuStyle)
{
    style_->shadowMargin = windows.isComposited() ? FlatMenuStyle::marginOfShadow() : 0;
    style_->setParent(this);
    setStyle(style_);
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
    const int margin = style_->shadowMargin;
    const int width = size.width() - 2 * margin;
    const int left = std::max(std::min(area.left(), room.right() + 1 - width), room.left());
    const int below = area.bottom() + 1 + gap;
    const int height = size.height() - 2 * margin;
    const bool fitsBelow = below + height <= room.bottom() + 1;
    const int top = fitsBelow ? below : area.top() - gap - height;
    const QPoint corner = QPoint(left, top) - QPoint(margin, margin);
    popup(corner);
    // The toolkit moves a window that leaves the screen, although only its shadow does.
    move(corner);
}

void PanelMenu::mousePressEvent(QMouseEvent* event)
{
    // On the shadow it is one beside the menu.
    if (style_->frame(rect()).contains(event->position().toPoint()))
        QMenu::mousePressEvent(event);
    else
        close();
}

void PanelMenu::resizeEvent(QResizeEvent* event)
{
    QMenu::resizeEvent(event);
    // Where there is no translucency the corners are cut off.
    if (style_->shadowMargin == 0)
        setMask(FlatMenuStyle::shape(rect()));
}

} // namespace velmo
