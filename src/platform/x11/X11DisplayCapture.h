#pragma once

#include "platform/DisplayCapture.h"

#include <QStringList>
#include <functional>
#include <memory>
#include <vector>

namespace velmo {

class X11ChangeWatcher;
class X11Connection;
struct X11CaptureServer;
struct X11Scene;

/// How many native pixels a point of a display has. Only the toolkit knows it.
struct DisplayScale {
    quint32 displayID = 0;
    double scale = 1;
};

/// Captures from an X server: the contents of all windows but ours, put together in the server.
///
/// That works because from prepare() to release() every window draws into a pixmap of its own, also where one
/// of ours covers it. Without the extensions for it the picture is the screen itself, ours included, and
/// takeDiagnostics() says so. Where the screen belongs to a Wayland desktop, every capture fails as
/// unsupported: the server's own picture of it is black.
///
/// A frozen picture stays in the server until it is asked for, so freeze() costs the main thread no copying.
class X11DisplayCapture final : public DisplayCapture {
public:
    /// Called on the main thread.
    using ScaleSource = std::function<std::vector<DisplayScale>()>;

    X11DisplayCapture();
    ~X11DisplayCapture() override;

    /// Asked now and at every prepare(). Main thread. Displays without a scale have 1.
    void setScaleSource(ScaleSource source);

    /// The resource range of the connection that our windows are created on. Any thread; a change handler
    /// learns of it when it is set or with prepare().
    void setOwnConnectionBase(quint32 base, quint32 mask);

    /// Sentences about what could not be done as it should, since the last call. Any thread.
    [[nodiscard]] QStringList takeDiagnostics();

    void prepare() override;
    void release() override;
    void freeze(std::optional<quint32> id) override;
    void setChangeHandler(std::function<void()> handler) override;
    [[nodiscard]] Result<ShareableContent, PlatformError> shareableContent() override;
    [[nodiscard]] Result<QImage, PlatformError> captureDisplay(quint32 id, CaptureMoment moment) override;

private:
    struct Frozen;
    struct Shared;

    void addDiagnostics(const QStringList& sentences);
    void takePicture();
    void redirect();
    void forgetLostServer();
    void followChanges();
    void replaceFrozen(std::unique_ptr<Frozen> frozen);
    [[nodiscard]] QImage takeFrozen(quint32 id);
    [[nodiscard]] X11Scene compose(X11CaptureServer& server, const QRect& area);
    [[nodiscard]] double scaleOf(quint32 displayID);

    // The main thread's.
    ScaleSource scaleSource_;
    std::function<void()> changeHandler_;
    std::unique_ptr<X11Connection> holder_; ///< Keeps windows redirected.
    bool isPrepared_ = false;               ///< Main thread.
    quint32 picturePixmap_ = 0;             ///< The screen before our windows, on holder_.
    std::unique_ptr<X11ChangeWatcher> watcher_;

    std::unique_ptr<Shared> shared_;
};

} // namespace velmo
