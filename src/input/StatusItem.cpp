#include "input/StatusItem.h"

#include "core/DebugLog.h"
#include "input/TrayIcon.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>
#include <algorithm>
#include <utility>

namespace velmo {

namespace {

bool isAny(const StatusItem::Trays& trays, TrayPresence::State state)
{
    return std::ranges::any_of(trays, [state](const auto& tray) { return tray->state() == state; });
}

} // namespace

StatusItem::StatusItem(StatusMenu& menu, const Trays& trays, std::function<void()> onMissing)
    : menu_(menu)
    , trays_(trays)
{
    missing_.setSingleShot(true);
    if (onMissing)
        missing_.callOnTimeout(std::move(onMissing));
    for (const auto& tray : trays_)
        tray->setChangeHandler([this] { followTrays(); });
    menu_.onColorsChanged = [this] { followTrays(); };
    followTrays();
}

StatusItem::~StatusItem()
{
    for (const auto& tray : trays_)
        tray->setChangeHandler({});
    menu_.onColorsChanged = {};
}

void StatusItem::followTrays()
{
    if (icon_) {
        icon_->setIcon(trayIcon(color()));
        return;
    }
    // The toolkit asks once in a process which kind of tray there is, and waits for the answer. So it is not
    // asked before there is one, and not while the bus owes an answer.
    if (isAny(trays_, TrayPresence::State::Unknown))
        return;
    if (isAny(trays_, TrayPresence::State::Present))
        create();
    else if (!std::exchange(hasExplained_, true)) {
        DebugLog::log(
            QStringLiteral("Platform"),
            QStringLiteral("This desktop has no tray yet; the menu appears as soon as there is one."));
        missing_.start(std::chrono::milliseconds(0));
    }
}

void StatusItem::create()
{
    icon_ = std::make_unique<QSystemTrayIcon>(trayIcon(color()));
    icon_->setToolTip(QStringLiteral("Velmo"));
    icon_->setContextMenu(&menu_);
    QObject::connect(icon_.get(), &QSystemTrayIcon::activated, icon_.get(),
                     [this](QSystemTrayIcon::ActivationReason reason) {
                         if (reason == QSystemTrayIcon::Trigger)
                             openMenu();
                     });
    icon_->show();
}

QColor StatusItem::color() const
{
    std::optional<QColor> told;
    for (const auto& tray : trays_) {
        if (tray->state() == TrayPresence::State::Present && !told)
            told = tray->symbolColor();
    }
    return trayColor(told, currentDesktops(), QGuiApplication::palette());
}

/// Beside the symbol, away from the edge of the screen that it is at; where nobody tells where the symbol is,
/// beside the pointer that has just pressed it.
void StatusItem::openMenu()
{
    const QRect area = icon_->geometry();
    if (area.isEmpty()) {
        menu_.popup(QCursor::pos());
        return;
    }
    const QScreen* screen = QGuiApplication::screenAt(area.center());
    const QRect room = (screen != nullptr ? screen : QGuiApplication::primaryScreen())->geometry();
    const bool isAtTop = area.center().y() < room.center().y();
    menu_.popup(QPoint(area.left(), isAtTop ? area.bottom() + 1 : area.top() - menu_.sizeHint().height()));
}

} // namespace velmo
