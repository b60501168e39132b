#include "input/StatusMenu.h"

#include "widgets/SoftShadow.h"
#include "widgets/SystemFont.h"
#include "widgets/WindowTheme.h"

#include <QCoreApplication>
#include <QEvent>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QProxyStyle>
#include <QStyleFactory>
#include <QStyleOptionMenuItem>
#include <utility>

namespace velmo {

namespace {

constexpr double kRadius = 10;
constexpr double kRowRadius = 6;
constexpr int kInset = 5;
constexpr int kWidth = 236;
constexpr int kRowHeight = 28;
constexpr int kSeparatorHeight = 11;
constexpr int kTextInset = 10;
constexpr int kKeyGap = 24;
constexpr double kTextSize = 12.5;
constexpr SoftShadow kShadow{10, 30, 0.45F};

} // namespace

/// The desktop's style has no part in the menu.
class StatusMenu::Style final : public QProxyStyle {
public:
    Style()
        : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion")))
    {}

    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override
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
        // The menu adds the room for the keys by itself.
        const int text = QFontMetrics(item->font).horizontalAdvance(item->text.section(u'\t', 0, 0));
        const int width = text + kKeyGap + 2 * kTextInset;
        return {width, item->menuItemType == QStyleOptionMenuItem::Separator ? kSeparatorHeight : kRowHeight};
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

    /// Points around the frame; 0 where no shadow can be shown.
    int shadowMargin = 0;

private:
    static WindowTheme theme() { return WindowTheme::of(QGuiApplication::palette()); }

    void paintGround(QPainter& painter, const QRect& window) const
    {
        const QRectF frame =
            QRectF(window).adjusted(shadowMargin, shadowMargin, -shadowMargin, -shadowMargin);
        if (shadowMargin > 0)
            paintSoftShadow(painter, frame, kRadius, kShadow);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setBrush(theme().menu);
        painter.setPen(QPen(theme().menuBorder, 1));
        painter.drawRoundedRect(frame.adjusted(0.5, 0.5, -0.5, -0.5), kRadius, kRadius);
    }

    static void paintItem(QPainter& painter, const QStyleOptionMenuItem& item)
    {
        const QRectF row(item.rect);
        const QRectF text = row.adjusted(kTextInset, 0, -kTextInset, 0);
        if (item.menuItemType == QStyleOptionMenuItem::Separator) {
            painter.fillRect(QRectF(text.left(), row.top() + kInset, text.width(), 1), theme().separator);
            return;
        }
        painter.setRenderHint(QPainter::Antialiasing);
        const bool isSelected = item.state.testFlag(State_Selected);
        if (isSelected) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(theme().accentFill);
            painter.drawRoundedRect(row, kRowRadius, kRowRadius);
        }
        painter.setFont(item.font);
        painter.setPen(isSelected ? QColor(Qt::white) : theme().text);
        painter.drawText(text, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                         item.text.section(u'\t', 0, 0));
        painter.setPen(isSelected ? QColor(Qt::white) : theme().secondaryText);
        painter.drawText(text, Qt::AlignVCenter | Qt::AlignRight | Qt::TextSingleLine,
                         item.text.section(u'\t', 1, 1));
    }
};

StatusMenu::StatusMenu(WindowSurfaces& windows, const Actions& actions)
    : windows_(windows)
    , style_(new Style)
{
    style_->setParent(this);
    setStyle(style_);
    setWindowFlag(Qt::NoDropShadowWindowHint);
    setFont(systemFont(kTextSize));
    setMinimumWidth(kWidth);
    setAttribute(Qt::WA_TranslucentBackground);
    connect(this, &QMenu::aboutToShow, this, [this] { followCompositor(); });
    // Only then are changes of the desktop's colours told before it was shown for the first time.
    ensurePolished();

    addItem(QStringLiteral("Annotate Screen"), {}, actions.activateAnnotation);
    addSeparator();
    addItem(QStringLiteral("Change Hotkey..."), {}, actions.changeHotkey);
    addItem(QStringLiteral("Settings..."), Qt::CTRL | Qt::Key_Comma, actions.openSettings);
    addSeparator();
    addItem(QStringLiteral("Check for Updates..."), {}, actions.checkForUpdates);
    addSeparator();
    addItem(QStringLiteral("Quit Velmo"), Qt::CTRL | Qt::Key_Q, actions.terminate);
}

void StatusMenu::addItem(const QString& title, const QKeySequence& key, std::function<void()> action)
{
    QAction* item = addAction(title);
    item->setShortcut(key);
    item->setShortcutVisibleInContextMenu(true);
    // The toolkit would move items with such names into a menu of its own on some desktops.
    item->setMenuRole(QAction::NoRole);
    connect(item, &QAction::triggered, this, [action = std::move(action)] {
        if (action)
            action();
    });
}

bool StatusMenu::event(QEvent* event)
{
    const bool isHandled = QMenu::event(event);
    const auto type = event->type();
    if ((type == QEvent::PaletteChange || type == QEvent::ApplicationPaletteChange) && onColorsChanged)
        onColorsChanged();
    return isHandled;
}

void StatusMenu::followCompositor()
{
    const int margin = windows_.isComposited() ? kShadow.margin() : 0;
    if (std::exchange(style_->shadowMargin, margin) == margin)
        return;
    setMinimumWidth(kWidth + 2 * margin);
    // Only then are the items laid out anew.
    QEvent change(QEvent::StyleChange);
    QCoreApplication::sendEvent(this, &change);
}

QRect StatusMenu::frame() const
{
    const int margin = style_->shadowMargin;
    return rect().adjusted(margin, margin, -margin, -margin);
}

void StatusMenu::openAt(const std::function<QPoint(QSize)>& place)
{
    followCompositor();
    const QPoint margin(style_->shadowMargin, style_->shadowMargin);
    const QSize size = isVisible() ? frame().size() : sizeHint() - QSize(2 * margin.x(), 2 * margin.y());
    const QPoint corner = place(size) - margin;
    if (!isVisible())
        popup(corner);
    // The toolkit moves a window that leaves the screen, although only its shadow does.
    move(corner);
}

void StatusMenu::showEvent(QShowEvent* event)
{
    QMenu::showEvent(event);
    cutCorners();
    windows_.setMenuOpen(true);
}

void StatusMenu::hideEvent(QHideEvent* event)
{
    windows_.setMenuOpen(false);
    QMenu::hideEvent(event);
}

void StatusMenu::mousePressEvent(QMouseEvent* event)
{
    // On the shadow it is one beside the menu.
    if (frame().contains(event->position().toPoint()))
        QMenu::mousePressEvent(event);
    else
        close();
}

/// Where there is no translucency.
void StatusMenu::cutCorners()
{
    clearMask();
    if (style_->shadowMargin > 0)
        return;
    QPainterPath shape;
    shape.addRoundedRect(QRectF(rect()), kRadius, kRadius);
    setMask(QRegion(shape.toFillPolygon().toPolygon()));
}

} // namespace velmo
