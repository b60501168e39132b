#pragma once

#include "core/async/TaskScope.h"
#include "platform/WindowSurfaces.h"
#include "updates/UpdateCheck.h"

#include <functional>
#include <memory>

class QWidget;

namespace velmo {

class UpdateWindow;

/// What the check for updates works with.
struct UpdateCollaborators {
    WindowSurfaces& windows; ///< Outlives the controller.
    /// Asked for at the first check; it outlives the controller.
    std::function<HttpClient&()> http;
    /// Who keeps this installation up to date, as in "APT"; empty text: the user.
    std::function<async::Task<QString>()> findPackageManager;
    std::function<bool(const QUrl& address)> openAddress; ///< False: nothing here opens it.
};

/// Looks for a newer version when the user asks for it, and only then, and says what it found in every case.
/// It installs nothing: it leads to the page of the release. Main thread.
class UpdateController {
public:
    UpdateController(UpdateSource source, QVersionNumber current, UpdateCollaborators collaborators);
    UpdateController(const UpdateController&) = delete;
    UpdateController& operator=(const UpdateController&) = delete;
    ~UpdateController();

    /// Opens a window that says what is going on, and then what came of it. While a look is under way, it
    /// only brings the window to the front; closing the window ends the look.
    void checkForUpdates();

    /// Null before the first check; it stays when it is closed.
    [[nodiscard]] QWidget* window() const;

private:
    [[nodiscard]] async::Task<> check();

    UpdateSource source_;
    QVersionNumber current_;
    UpdateCollaborators collaborators_;
    std::unique_ptr<UpdateWindow> window_;
    async::TaskHandle<> check_;
    async::TaskScope tasks_;
};

} // namespace velmo
