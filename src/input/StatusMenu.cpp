#include "input/StatusMenu.h"

#include "widgets/FlatMenuStyle.h"
#include "widgets/SystemFont.h"
#include "widgets/WindowTheme.h"

#include <QApplication>
#include <QCursor>
#include <QEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleHints>
#include <QStyleOptionMenuItem>
#include <utility>

namespace velmo {

namespace {

constexpr int kWidth = 236;
constexpr int kRowHeight = 28;
constexpr int kSeparatorHeight = 11;
constexpr int kTextInset = 10;
constexpr int kKeyGap = 24;
constexpr double kTextSize = 12.5;

} // namespace

class StatusMenu::Style final : public FlatMenuStyle {
private:
    static WindowTheme theme() { return WindowTheme::current(); }

    [[nodiscard]] QColor ground() const override { return theme().menu; }
    [[nodiscard]] QColor border() const override { return theme().menuBorder; }

    [[nodiscard]] QSize rowSize(const QStyleOptionMenuItem& item) const override
    {
        // The menu adds the room for the keys by itself.
        const int text = QFontMetrics(item.font).horizontalAdvance(item.text.section(u'\t', 0, 0));
        const int width = text + kKeyGap + 2 * kTextInset;
        return {width, item.menuItemType == QStyleOptionMenuItem::Separator ? kSeparatorHeight : kRowHeight};
    }

    void paintRow(QPainter& painter, const QStyleOptionMenuItem& item) const override
    {
        const QRectF row(item.rect);
        const QRectF text = row.adjusted(kTextInset, 0, -kTextInset, 0);
        if (item.menuItemType == QStyleOptionMenuItem::Separator) {
            painter.fillRect(QRectF(text.left(), row.top() + kInset, text.width(), 1), theme().separator);
            return;
        }
        painter.setRenderHint(QPainter::Antialiasing);
        const bool isSelected = item.state.testFlag(State_Selected);
        if (isSelected)
            paintHighlight(painter, row, theme().accentFill);
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
    setMinimumWidth(kWidth);
    setAttribute(Qt::WA_TranslucentBackground);
    connect(this, &QMenu::aboutToShow, this, [this] {
        // Not before: fonts are the first large thing that a program in the tray could do without, and most
        // bars draw the menu themselves.
        setFont(systemFont(kTextSize));
        followCompositor();
    });
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
    const int margin = windows_.isComposited() ? FlatMenuStyle::marginOfShadow() : 0;
    if (std::exchange(style_->shadowMargin, margin) == margin)
        return;
    setMinimumWidth(kWidth + 2 * margin);
    // Only then are the items laid out anew.
    QEvent change(QEvent::StyleChange);
    QCoreApplication::sendEvent(this, &change);
}

QRect StatusMenu::frame() const
{
    return style_->frame(rect());
}

void StatusMenu::openAt(const std::function<QPoint(QSize)>& place)
{
    followCompositor();
    const QPoint margin(style_->shadowMargin, style_->shadowMargin);
    const QSize size = isVisible() ? frame().size() : sizeHint() - QSize(2 * margin.x(), 2 * margin.y());
    const QPoint corner = place(size) - margin;
    if (!isVisible())
        popup(corner);
    else
        noteOpening();
    // The toolkit moves a window that leaves the screen, although only its shadow does.
    move(corner);
}

void StatusMenu::showEvent(QShowEvent* event)
{
    QMenu::showEvent(event);
    noteOpening();
    cutCorners();
    windows_.setMenuOpen(true);
}

void StatusMenu::hideEvent(QHideEvent* event)
{
    windows_.setMenuOpen(false);
    QMenu::hideEvent(event);
}

void StatusMenu::noteOpening()
{
    sinceOpening_.start();
    pointerAtOpening_ = QCursor::pos();
}

/// The second press of a double click is for what the first one was for, whatever has come under the pointer
/// in between.
bool StatusMenu::isOfOpening(const QMouseEvent& press) const
{
    const QPoint way = press.globalPosition().toPoint() - pointerAtOpening_;
    return !sinceOpening_.hasExpired(QApplication::doubleClickInterval()) &&
           way.manhattanLength() < QGuiApplication::styleHints()->mouseDoubleClickDistance();
}

void StatusMenu::mousePressEvent(QMouseEvent* event)
{
    // Without its press, the release means nothing to the menu either.
    if (isOfOpening(*event))
        return;
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
    if (style_->shadowMargin == 0)
        setMask(FlatMenuStyle::shape(rect()));
}

} // namespace velmo
