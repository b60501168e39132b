#include "support/pictures/SettingsPictures.h"

#include "fakes/FakeKeychain.h"
#include "fakes/InMemoryDefaults.h"
#include "settings/SettingsRootView.h"
#include "support/core/Environment.h"
#include "support/core/EventLoop.h"
#include "support/widgets/Palettes.h"
#include "widgets/SecureField.h"

#include <QApplication>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>

namespace velmo {
namespace {

constexpr int kMargin = 24;
constexpr QSize kSize(520, 580);

QPixmap onGround(const QList<QPixmap>& windows)
{
    const double ratio = qGuiApp->devicePixelRatio();
    const int count = static_cast<int>(windows.size());
    QPixmap picture(QSize(count * (kSize.width() + kMargin) + kMargin, kSize.height() + 2 * kMargin) * ratio);
    picture.setDevicePixelRatio(ratio);
    picture.fill(QColor(0xb8bce8));
    QPainter painter(&picture);
    for (int i = 0; i < count; ++i)
        painter.drawPixmap(kMargin + i * (kSize.width() + kMargin), kMargin, windows[i]);
    return picture;
}

/// The window's contents, without the frame that a window manager adds.
struct Scene {
    Scene()
    {
        settings->systemPrompt.set({});
        view.resize(kSize);
    }

    QPixmap grab()
    {
        if (!view.isVisible()) {
            view.show();
            view.activateWindow();
        }
        settle();
        if (QWidget* focused = view.focusWidget(); focused != nullptr && !keepsFocus)
            focused->clearFocus();
        settle();
        return view.grab();
    }

    void scrollToEnd()
    {
        for (QScrollArea* area : view.findChildren<QScrollArea*>())
            area->verticalScrollBar()->setValue(area->verticalScrollBar()->maximum());
    }

    void setKey(const QString& account) const
    {
        keychain->items.insert(FakeKeychain::name(settings->keychainService, account), "key");
    }

    CleanProviderEnvironment environment;
    const std::shared_ptr<FakeKeychain> keychain = std::make_shared<FakeKeychain>();
    const std::shared_ptr<SettingsManager> settings =
        std::make_shared<SettingsManager>(std::make_shared<InMemoryDefaults>(), keychain);
    Published<GestureProblems> gestureProblems;
    SettingsRootView view{settings, {{}, {}, {}, &gestureProblems}};
    bool keepsFocus = false;
};

QPixmap generalPicture()
{
    Scene scene;
    return onGround({scene.grab(), [&] {
                         scene.scrollToEnd();
                         return scene.grab();
                     }()});
}

QPixmap keysPicture()
{
    Scene typed;
    const QPixmap before = typed.grab();
    auto* field = typed.view.findChild<QLineEdit*>();
    field->setText(QString(24, u'x'));
    field->setFocus();
    typed.keepsFocus = true;
    const QPixmap typing = typed.grab();

    Scene set;
    set.setKey(KeychainAccount::Anthropic);
    set.setKey(KeychainAccount::OpenAI);
    set.settings->systemPrompt.set(
        QStringLiteral("I work on the checkout team. Prefer short answers with the numbers that matter.\n\n"
                       "Our services run in eu-west; times in charts are UTC."));
    return onGround({typing, set.grab()});
}

QPixmap quickDrawOffPicture()
{
    Scene scene;
    scene.settings->quickDrawModifiers.set(0);
    scene.settings->quickDrawMiddleMouseEnabled.set(false);
    scene.settings->submitMode.set(SubmitMode::ManualSubmit);
    const QPixmap before = scene.grab();
    scene.scrollToEnd();
    return onGround({scene.grab()});
}

/// A locked keyring, a key from the environment, and a hotkey that is not ours.
QPixmap troublePicture()
{
    Scene scene;
    const EnvironmentVariable key("ANTHROPIC_API_KEY", "key");
    scene.keychain->whenAvailable = Keychain::Availability::Locked;
    scene.gestureProblems.set({.hotkey = QStringLiteral("Taken by another program")});
    return onGround({scene.grab()});
}

} // namespace

bool drawSettings(const std::function<bool(const QPixmap&, const QString& name)>& save)
{
    for (const bool isDark : {false, true}) {
        const ApplicationPalette palette(isDark ? darkPalette() : lightPalette());
        settle();
        const QString scheme = isDark ? QStringLiteral("-dark") : QStringLiteral("-light");
        if (!save(generalPicture(), QStringLiteral("settings-general") + scheme) ||
            !save(keysPicture(), QStringLiteral("settings-general-keys") + scheme) ||
            !save(quickDrawOffPicture(), QStringLiteral("settings-general-quickdraw-off") + scheme) ||
            !save(troublePicture(), QStringLiteral("settings-general-trouble") + scheme))
            return false;
    }
    return true;
}

} // namespace velmo
