#include "input/HotkeyCaptureSheet.h"

#include "widgets/DialogWindow.h"
#include "widgets/ModifierSymbols.h"
#include "widgets/SystemFont.h"
#include "widgets/WindowPalette.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QTimer>
#include <QVBoxLayout>
#include <QWindow>
#include <utility>

namespace velmo {

namespace {

constexpr QSize kSize{320, 100};
constexpr int kInset = 24;
constexpr int kTextSize = 14;
constexpr std::chrono::milliseconds kFarewell{800};

/// The places of the modifier keys themselves.
constexpr int kFirstModifierKey = 54;
constexpr int kLastModifierKey = 63;

/// Where people type and draw, and menus, whose keys are their own.
bool isForTyping(const QWindow& window)
{
    return window.flags().testFlag(Qt::BypassWindowManagerHint) || window.type() == Qt::Popup;
}

} // namespace

class HotkeyCaptureSheet::Window final : public QWidget {
public:
    explicit Window(std::function<void()> onClose)
        : onClose_(std::move(onClose))
        , label_(new QLabel(this))
    {
        auto* stack = new QVBoxLayout(this);
        stack->setContentsMargins(kInset, kInset, kInset, kInset);
        stack->addWidget(label_);
        label_->setAlignment(Qt::AlignCenter);
        label_->setWordWrap(true);
        // The name of a key may look like a tag.
        label_->setTextFormat(Qt::PlainText);
        label_->setFont(systemFont(kTextSize));
        setAutoFillBackground(true);
        followScheme();
    }

    void setText(const QString& text)
    {
        label_->setText(text);
        setAccessibleDescription(text);
    }

protected:
    bool event(QEvent* event) override
    {
        if (event->type() == QEvent::ApplicationPaletteChange)
            followScheme();
        return QWidget::event(event);
    }

    void closeEvent(QCloseEvent* event) override
    {
        onClose_();
        QWidget::closeEvent(event);
    }

private:
    void followScheme() { setPalette(windowPalette(WindowTheme::current())); }

    std::function<void()> onClose_;
    QLabel* label_;
};

/// Leads the sheet to each window that is about to get a key. Filters of a window come after all of the
/// application's, so whatever sorts a held key's presses has done so by then.
class HotkeyCaptureSheet::KeyWatch final : public QObject {
public:
    explicit KeyWatch(HotkeyCaptureSheet& sheet)
        : sheet_(sheet)
    {
        QCoreApplication::instance()->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        // The toolkit hands a press to the window first, and then to the widgets in it, one after the other.
        if (event->type() == QEvent::KeyPress && watched->isWindowType())
            watched->installEventFilter(&sheet_);
        return false;
    }

private:
    HotkeyCaptureSheet& sheet_;
};

HotkeyCaptureSheet::HotkeyCaptureSheet(std::shared_ptr<SettingsManager> settings,
                                       HotkeyCaptureCollaborators collaborators)
    : settings_(std::move(settings))
    , collaborators_(std::move(collaborators))
{}

HotkeyCaptureSheet::~HotkeyCaptureSheet()
{
    close();
}

QWidget* HotkeyCaptureSheet::window() const
{
    return window_.get();
}

void HotkeyCaptureSheet::present()
{
    window_ = std::make_unique<Window>([this] { cleanupMonitor(); });
    window_->setText(QStringLiteral("Press your desired key combination..."));
    DialogWindow::prepare(*window_, QStringLiteral("Change Hotkey"), kSize);
    monitor_ = std::make_unique<KeyWatch>(*this);
    DialogWindow::bringToFront(*window_, collaborators_.windows);
}

void HotkeyCaptureSheet::close()
{
    if (window_)
        window_->close();
    cleanupMonitor();
}

bool HotkeyCaptureSheet::eventFilter(QObject* watched, QEvent* event)
{
    if (!monitor_ || event->type() != QEvent::KeyPress)
        return false;
    if (const auto* window = qobject_cast<QWindow*>(watched); window == nullptr || isForTyping(*window))
        return false;
    return swallows(static_cast<const QKeyEvent&>(*event));
}

bool HotkeyCaptureSheet::swallows(const QKeyEvent& event)
{
    const PressedKey key =
        collaborators_.keys.read({event.nativeScanCode(), event.nativeVirtualKey(), event.nativeModifiers()});
    // The toolkit reports a modifier as a key press of its own, also while a combination is being built.
    if (key.isModifier || key.modifiers == 0)
        return false;
    // A key that is held is one press.
    if (event.isAutoRepeat())
        return true;
    if (key.keyCode < 0)
        refuse(QStringLiteral("This key cannot be used."));
    else if (key.keyCode >= kFirstModifierKey && key.keyCode <= kLastModifierKey)
        refuse(QStringLiteral("Choose a non-modifier key with modifiers."));
    else
        save(key);
    return true;
}

void HotkeyCaptureSheet::refuse(const QString& reason)
{
    if (collaborators_.beep)
        collaborators_.beep();
    window_->setText(reason);
}

void HotkeyCaptureSheet::save(const PressedKey& key)
{
    settings_->hotkeyKeyCode.set(key.keyCode);
    settings_->hotkeyModifiers.set(static_cast<qint64>(key.modifiers));
    const QString characters = key.characters.isEmpty() ? QStringLiteral("?") : key.characters.toUpper();
    window_->setText(QStringLiteral("Saved: ") + characters + QStringLiteral(" with ") +
                     modifierSymbols(key.modifiers));
    ++pending_;
    // Each one counts for itself: the first closes the window, and a later one still comes into force.
    QTimer::singleShot(kFarewell, Qt::PreciseTimer, this, [this] {
        if (pending_ == 0)
            return;
        --pending_;
        finish();
    });
}

void HotkeyCaptureSheet::finishPending()
{
    if (std::exchange(pending_, 0) > 0)
        finish();
}

void HotkeyCaptureSheet::finish()
{
    close();
    if (collaborators_.restartHotkeyMonitor)
        collaborators_.restartHotkeyMonitor();
}

void HotkeyCaptureSheet::cleanupMonitor()
{
    monitor_.reset();
}

} // namespace velmo
