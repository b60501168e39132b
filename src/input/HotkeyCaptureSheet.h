#pragma once

#include "core/SettingsManager.h"
#include "platform/KeyReader.h"
#include "platform/WindowSurfaces.h"

#include <QObject>
#include <QWidget>
#include <functional>
#include <memory>

class QKeyEvent;

namespace velmo {

/// What the sheet works with beside the settings.
struct HotkeyCaptureCollaborators {
    KeyReader& keys; ///< Both outlive the sheet.
    WindowSurfaces& windows;
    /// Makes the new hotkey the one that works.
    std::function<void()> restartHotkeyMonitor;
    std::function<void()> beep;
};

/// The small window in which the user presses a new hotkey. While it is open, it sees the keys of all of the
/// program's windows but the floating ones, where people type and draw; the global hotkey goes on working
/// meanwhile. Whether another program has the combination is not its business. Main thread.
class HotkeyCaptureSheet final : public QObject {
public:
    HotkeyCaptureSheet(std::shared_ptr<SettingsManager> settings, HotkeyCaptureCollaborators collaborators);
    ~HotkeyCaptureSheet() override;

    /// Opens the window and begins to look at keys.
    void present();

    /// What was stored comes into force now, if it has not yet.
    void finishPending();

    /// As when the user closes it: what was stored still comes into force when its time comes.
    void close();

    /// Null before it is presented; it stays when it is closed.
    [[nodiscard]] QWidget* window() const;

protected:
    /// Of the windows that were pressed keys in.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    class Window;
    class KeyWatch;

    [[nodiscard]] bool swallows(const QKeyEvent& event);
    void save(const PressedKey& key);
    void refuse(const QString& reason);
    void finish();
    void cleanupMonitor();

    std::shared_ptr<SettingsManager> settings_;
    HotkeyCaptureCollaborators collaborators_;
    std::unique_ptr<Window> window_;
    std::unique_ptr<KeyWatch> monitor_; ///< Null when it looks at no keys.
    int pending_ = 0;                   ///< Saves whose time has not come.
};

} // namespace velmo
