#include "input/StatusItem.h"

#include "core/CurrentDesktops.h"
#include "core/DebugLog.h"
#include "input/MenuPlace.h"

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

std::chrono::milliseconds StatusItem::patienceFor(const QStringList& desktops)
{
    constexpr std::chrono::seconds kUsual{3};
    constexpr std::chrono::seconds kSlow{20};
    return desktops.contains(QStringLiteral("KDE")) ? kSlow : kUsual;
}

StatusItem::StatusItem(StatusMenu& menu, const Trays& trays, std::chrono::milliseconds patience,
                       std::function<void()> onMissing)
    : menu_(menu)
    , trays_(trays)
{
    missing_.setSingleShot(true);
    if (onMissing)
        missing_.callOnTimeout(std::move(onMissing));
    answer_.setSingleShot(true);
    answer_.setInterval(patience);
    answer_.callOnTimeout([this] {
        explainMissing(
            QStringLiteral("This desktop does not say whether it has a tray; the menu appears as soon "
                           "as it does."));
    });
    patience_.setSingleShot(true);
    patience_.setInterval(patience);
    patience_.callOnTimeout([this] {
        hasWaited_ = true;
        followTrays();
    });
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
        icon_->setIcon(trayIcon(colors()));
        explainOtherKind();
    } else {
        await();
    }
}

/// The toolkit asks once in a process which kind of tray there is, and waits for the answer. So it is not
/// asked before there is one, not while the bus owes an answer, and not while one that it would prefer may
/// yet come.
void StatusItem::await()
{
    if (isAny(trays_, TrayPresence::State::Unknown)) {
        if (!answer_.isActive())
            answer_.start();
        return;
    }
    answer_.stop();
    if (isPresent(TrayPresence::Kind::Bus)) {
        create(TrayPresence::Kind::Bus);
    } else if (!isPresent(TrayPresence::Kind::Embedding)) {
        patience_.stop();
        explainMissing(
            QStringLiteral("This desktop has no tray yet; the menu appears as soon as there is one."));
    } else if (hasWaited_ || !mayCome(TrayPresence::Kind::Bus)) {
        create(TrayPresence::Kind::Embedding);
    } else if (!patience_.isActive()) {
        patience_.start();
    }
}

void StatusItem::explainMissing(const QString& reason)
{
    if (explained_.contains(reason))
        return;
    DebugLog::log(QStringLiteral("Platform"), reason);
    if (explained_.isEmpty())
        missing_.start(std::chrono::milliseconds(0));
    explained_.append(reason);
}

void StatusItem::create(TrayPresence::Kind kind)
{
    patience_.stop();
    kind_ = kind;
    icon_ = std::make_unique<QSystemTrayIcon>(trayIcon(colors()));
    icon_->setToolTip(QStringLiteral("Velmo"));
    icon_->setContextMenu(&menu_);
    QObject::connect(icon_.get(), &QSystemTrayIcon::activated, icon_.get(),
                     [this](QSystemTrayIcon::ActivationReason reason) {
                         if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::Context)
                             openMenu();
                     });
    icon_->show();
}

/// For one kind a process cannot change to the other.
void StatusItem::explainOtherKind()
{
    const auto other =
        kind_ == TrayPresence::Kind::Bus ? TrayPresence::Kind::Embedding : TrayPresence::Kind::Bus;
    if (isPresent(kind_) || !isPresent(other) || std::exchange(hasExplainedKind_, true))
        return;
    DebugLog::log(QStringLiteral("Platform"),
                  QStringLiteral("The tray has gone, and the desktop has one of another kind now; the menu "
                                 "appears there when Velmo is started anew."));
}

bool StatusItem::isPresent(TrayPresence::Kind kind) const
{
    return std::ranges::any_of(trays_, [kind](const auto& tray) {
        return tray->kind() == kind && tray->state() == TrayPresence::State::Present;
    });
}

bool StatusItem::mayCome(TrayPresence::Kind kind) const
{
    return std::ranges::any_of(trays_,
                               [kind](const auto& tray) { return tray->kind() == kind && tray->mayCome(); });
}

TrayColors StatusItem::colors() const
{
    std::optional<QColor> told;
    for (const auto& tray : trays_) {
        if (tray->state() == TrayPresence::State::Present && !told)
            told = tray->symbolColor();
    }
    return trayColors(told, currentDesktops(), QGuiApplication::palette());
}

void StatusItem::openMenu()
{
    const QPoint pointer = QCursor::pos();
    const QRect item = icon_->geometry();
    const QScreen* under = QGuiApplication::screenAt(item.isEmpty() ? pointer : item.center());
    const QScreen& screen = under != nullptr ? *under : *QGuiApplication::primaryScreen();
    menu_.openAt([item, pointer, room = MenuRoom{screen.geometry(), screen.availableGeometry()}](QSize size) {
        return item.isEmpty() ? menuPlaceWithoutItem(pointer, size, room) : menuPlaceBeside(item, size, room);
    });
}

} // namespace velmo
