#include "support/pictures/PermissionPictures.h"

#include "fakes/FakePermissions.h"
#include "permissions/OnboardingStepContentView.h"
#include "permissions/PermissionsView.h"
#include "support/core/EventLoop.h"
#include "support/widgets/Palettes.h"

#include <QApplication>
#include <QPainter>

namespace velmo {
namespace {

constexpr int kMargin = 24;

/// Pictures side by side.
QPixmap sheetOf(const QList<QPixmap>& pictures, int columns)
{
    const double ratio = qGuiApp->devicePixelRatio();
    const QSize cell = pictures.constFirst().deviceIndependentSize().toSize() + QSize(kMargin, kMargin);
    const int rows = (static_cast<int>(pictures.size()) + columns - 1) / columns;
    const QSize size(columns * cell.width() + kMargin, rows * cell.height() + kMargin);
    QPixmap sheet(size * ratio);
    sheet.setDevicePixelRatio(ratio);
    sheet.fill(QColor(0xb8bce8));
    QPainter painter(&sheet);
    for (int i = 0; i < static_cast<int>(pictures.size()); ++i)
        painter.drawPixmap(kMargin + i % columns * cell.width(), kMargin + i / columns * cell.height(),
                           pictures.at(i));
    return sheet;
}

/// With the dots of a run in which everything was missing at first.
QPixmap onboardingPicture()
{
    FakePermissions permissions;
    OnboardingStepContentView view(permissions);
    view.totalSteps = static_cast<int>(kAllPermissions.size()) + 2;
    QList<QPixmap> pages;
    const auto add = [&](int index) {
        view.currentStepIndex = index;
        view.updateDots();
        settle();
        pages.append(view.grab());
    };
    view.configureWelcome();
    add(0);
    for (const MissingPermission permission : kAllPermissions) {
        view.configurePermission(permission);
        add(static_cast<int>(permission) + 1);
    }
    permissions.microphone = MicrophoneStatus::Restricted;
    view.configurePermission(MissingPermission::Microphone);
    add(3);
    view.configureComplete(QStringLiteral("Ctrl + Alt + Space"), {});
    add(4);
    view.configureComplete({}, QStringLiteral("Ctrl+Alt+Space is taken by another program."));
    add(4);
    permissions.microphone = MicrophoneStatus::NotDetermined;
    view.configurePermission(MissingPermission::ScreenRecording);
    view.setNote(QStringLiteral("This desktop has no setting for it. Its display server lets programs read "
                                "the screen; if not, log out and in again."));
    add(2);
    view.configurePermission(MissingPermission::Accessibility);
    view.show();
    QApplication::setActiveWindow(&view);
    // It has the keyboard already, with its window.
    view.primaryButton().clearFocus();
    view.primaryButton().setFocus(Qt::TabFocusReason);
    add(1);
    constexpr int kColumns = 3;
    return sheetOf(pages, kColumns);
}

/// On the ground of their window: something missing, nothing missing, and where a desktop has no panel.
QPixmap permissionsPicture()
{
    const auto picture = [](FakePermissions& permissions, bool hasNote) {
        QWidget window;
        window.setFixedSize(520, 340);
        QPalette colors;
        colors.setColor(QPalette::Window, WindowTheme::current().window);
        window.setPalette(colors);
        PermissionsView view(permissions, &window);
        view.setGeometry(window.rect());
        window.show();
        settle();
        if (hasNote)
            view.row(MissingPermission::Microphone).button().click();
        settle();
        return window.grab();
    };
    FakePermissions missing;
    missing.screenRecording = true;
    FakePermissions granted;
    granted.accessibility = granted.screenRecording = true;
    granted.microphone = MicrophoneStatus::Authorized;
    FakePermissions withoutPanels;
    withoutPanels.accessibility = withoutPanels.screenRecording = true;
    withoutPanels.microphone = MicrophoneStatus::Restricted;
    withoutPanels.explanation = QStringLiteral("No program for sound settings was found. Plug in a "
                                               "microphone, or install pavucontrol to choose one.");
    return sheetOf({picture(missing, false), picture(granted, false), picture(withoutPanels, true)}, 3);
}

} // namespace

bool drawPermissions(const std::function<bool(const QPixmap&, const QString& name)>& save)
{
    for (const bool isDark : {false, true}) {
        const ApplicationPalette palette(isDark ? darkPalette() : lightPalette());
        settle();
        const QString scheme = isDark ? QStringLiteral("-dark") : QStringLiteral("-light");
        if (!save(onboardingPicture(), QStringLiteral("onboarding") + scheme) ||
            !save(permissionsPicture(), QStringLiteral("permissions") + scheme))
            return false;
    }
    return true;
}

} // namespace velmo
