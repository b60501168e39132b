#pragma once

#include "platform/DisplayCapture.h"

#include <QStringList>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace velmo {

class X11Connection;
struct X11CaptureServer;

/// How many native pixels a point of a display has. Only the toolkit knows it.
struct DisplayScale {
    quint32 displayID = 0;
    double scale = 1;
};

/// Captures from an X server: the contents of all windows but ours, put together in the server.
///
/// That works because from prepare() to release() every window draws into a pixmap of its own, also where one
/// of ours covers it. Without the extensions for it the picture is the screen itself, ours included, and
/// takeDiagnostics() says so. prepare() and the worker use a connection each.
class X11DisplayCapture final : public DisplayCapture {
public:
    /// Called on the main thread.
    using ScaleSource = std::function<std::vector<DisplayScale>()>;

    X11DisplayCapture();
    ~X11DisplayCapture() override;

    /// Asked now and at every prepare(). Main thread. Displays without a scale have 1.
    void setScaleSource(ScaleSource source);

    /// The resource range of the connection that our windows are created on. Any thread.
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
    struct Shared;

    void addDiagnostic(const QString& sentence);
    [[nodiscard]] X11CaptureServer* server();
    [[nodiscard]] QImage captureWithoutOwnWindows(X11CaptureServer& server, const QRect& area);
    [[nodiscard]] double scaleOf(quint32 displayID);

    ScaleSource scaleSource_;
    std::unique_ptr<X11Connection> holder_;    ///< Keeps windows redirected. Main thread.
    quint32 picturePixmap_ = 0;                ///< The screen before our windows, on holder_. Main thread.
    std::unique_ptr<X11CaptureServer> server_; ///< The worker's.
    std::unique_ptr<Shared> shared_;
};

} // namespace velmo
