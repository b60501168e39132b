#include "support/pictures/MenuPictures.h"

#include "fakes/FakeKeyReader.h"
#include "fakes/FakeKeychain.h"
#include "fakes/FakeWindowSurfaces.h"
#include "fakes/InMemoryDefaults.h"
#include "input/HotkeyCaptureSheet.h"
#include "input/StatusMenu.h"
#include "input/TrayIcon.h"
#include "platform/EventTap.h"
#include "support/core/EventLoop.h"
#include "support/widgets/Palettes.h"
#include "updates/UpdateWindow.h"
#include "widgets/WindowTheme.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QWindow>
#include <vector>

namespace velmo {
namespace {

constexpr int kMargin = 24;

QPixmap ground(QSize size)
{
    const double ratio = qGuiApp->devicePixelRatio();
    QPixmap picture(size * ratio);
    picture.setDevicePixelRatio(ratio);
    picture.fill(QColor(0xb8bce8));
    return picture;
}

QPixmap menuPicture()
{
    FakeWindowSurfaces windows;
    windows.composited = true;
    StatusMenu menu(windows, {});
    menu.followCompositor();
    menu.resize(menu.sizeHint());
    menu.setActiveAction(menu.actions().constFirst());
    QPixmap picture = ground(menu.size() + QSize(2 * kMargin, 2 * kMargin));
    QPainter(&picture).drawPixmap(kMargin, kMargin, menu.grab());
    return picture;
}

/// In each of its three states, side by side and without a frame.
QPixmap sheetPicture()
{
    const auto settings = std::make_shared<SettingsManager>(std::make_shared<InMemoryDefaults>(),
                                                            std::make_shared<FakeKeychain>());
    FakeKeyReader keys;
    FakeWindowSurfaces windows;
    HotkeyCaptureSheet sheet(settings, {keys, windows, {}, {}});
    sheet.present();
    QWidget& window = *sheet.window();
    QPixmap picture = ground(QSize(3 * (window.width() + kMargin) + kMargin, window.height() + 2 * kMargin));
    QPainter painter(&picture);
    const std::array<PressedKey, 2> presses{
        PressedKey{59, ModifierFlag::Control, {}},
        PressedKey{40, ModifierFlag::Shift | ModifierFlag::Command, QStringLiteral("K")}};
    for (int state = 0; state <= 2; ++state) {
        if (state > 0) {
            keys.key = presses.at(static_cast<std::size_t>(state - 1));
            QKeyEvent press(QEvent::KeyPress, Qt::Key_K, Qt::NoModifier);
            QCoreApplication::sendEvent(window.windowHandle(), &press);
        }
        settle();
        painter.drawPixmap(kMargin + state * (window.width() + kMargin), kMargin, window.grab());
    }
    return picture;
}

/// While it looks, with something to offer, and with nothing but a reason.
QPixmap updatePicture()
{
    UpdateWindow window;
    const UpdateSource source{QUrl(QStringLiteral("https://velmo.example/feed.json")), "key"};
    const QVersionNumber current(0, 1, 0);
    UpdateOutcome newer;
    newer.kind = UpdateOutcome::Kind::Newer;
    newer.latest = QVersionNumber(0, 2, 0);
    UpdateOutcome tampered;
    tampered.kind = UpdateOutcome::Kind::Tampered;
    const std::array messages{describe(newer, source, current, {}),
                              describe(tampered, source, current, QStringLiteral("APT"))};
    QPixmap picture = ground(QSize(3 * (window.width() + kMargin) + kMargin, window.height() + 2 * kMargin));
    QPainter painter(&picture);
    window.showChecking();
    window.show();
    for (int state = 0; state <= 2; ++state) {
        if (state > 0)
            window.showMessage(messages.at(static_cast<std::size_t>(state - 1)), {});
        settle();
        painter.drawPixmap(kMargin + state * (window.width() + kMargin), kMargin, window.grab());
    }
    return picture;
}

/// At each size that bars have, on a light and on a dark one that told their colours, and on some that did
/// not.
QPixmap symbolPicture()
{
    constexpr std::array kSizes{16, 22, 24, 32};
    constexpr QSize kBar(80, 48);
    const QColor light(0xf4f4f6);
    const QColor grey(0x808080);
    const QColor dark(0x18181c);
    struct Row {
        QColor bar;
        TrayColors colors;
    };
    std::vector<Row> rows{{light, {WindowTheme::light().text}}, {dark, {WindowTheme::dark().text}}};
    for (const QPalette& palette : {lightPalette(), darkPalette()}) {
        for (const QColor& bar : {light, grey, dark})
            rows.push_back({bar, trayColors(std::nullopt, {}, palette)});
    }
    QPixmap picture = ground(
        QSize(kBar.width() * static_cast<int>(kSizes.size()), static_cast<int>(rows.size()) * kBar.height()));
    QPainter painter(&picture);
    QRect bar(0, 0, kBar.width() * static_cast<int>(kSizes.size()), kBar.height());
    for (const Row& row : rows) {
        painter.fillRect(bar, row.bar);
        for (int i = 0; i < static_cast<int>(kSizes.size()); ++i) {
            QRect place(0, 0, kSizes.at(static_cast<std::size_t>(i)), kSizes.at(static_cast<std::size_t>(i)));
            place.moveCenter({i * kBar.width() + kBar.width() / 2, bar.center().y()});
            trayIcon(row.colors).paint(&painter, place);
        }
        bar.translate(0, kBar.height());
    }
    return picture;
}

} // namespace

bool drawMenus(const std::function<bool(const QPixmap&, const QString& name)>& save)
{
    for (const bool isDark : {false, true}) {
        const ApplicationPalette palette(isDark ? darkPalette() : lightPalette());
        settle();
        const QString scheme = isDark ? QStringLiteral("-dark") : QStringLiteral("-light");
        if (!save(menuPicture(), QStringLiteral("status-menu") + scheme) ||
            !save(sheetPicture(), QStringLiteral("hotkey-sheet") + scheme) ||
            !save(updatePicture(), QStringLiteral("update") + scheme))
            return false;
    }
    return save(symbolPicture(), QStringLiteral("tray-icon"));
}

} // namespace velmo
