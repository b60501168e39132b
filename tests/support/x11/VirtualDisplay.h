#pragma once

#include "support/x11/ChildProcess.h"
#include "support/x11/WindowManagers.h"

#include <QByteArray>
#include <QList>
#include <QTemporaryDir>

namespace velmo::test {

/// An X server of the test's own on a free display number. While it lives, DISPLAY names it, and settings,
/// caches and sockets of the desktop are in a private folder; what was set before comes back with its
/// destructor.
class VirtualDisplay {
public:
    enum class Server {
        Virtual, ///< Xvfb.
        Dummy,   ///< Xorg, the server of real desktops, with a driver for a screen that is not there.
    };
    struct Options {
        Server server = Server::Virtual;
        QByteArray screen = "1920x1080x24"; ///< For Xvfb; Xorg always has 1920x1080.
        QList<QByteArray> arguments;        ///< More for the server, such as "-extension", "XTEST".
        QByteArray sessionAddress;          ///< Of the bus that programs on it find; empty for none.
    };

    VirtualDisplay()
        : VirtualDisplay(Options{})
    {}
    explicit VirtualDisplay(const Options& options);
    ~VirtualDisplay();
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

    /// The value of DISPLAY; empty when the server did not start.
    [[nodiscard]] QByteArray name() const { return name_; }

    /// The server goes as by an accident; its display's name stays.
    void stopServer() { server_.stop(); }

    /// True when it manages windows. The window manager's own configuration is used unless a file is given.
    [[nodiscard]] bool startWindowManager(const QString& configuration = {});
    /// Another one, by its name.
    [[nodiscard]] bool startWindowManager(const QString& name, FocusPolicy policy);
    void stopWindowManager();

    /// True when it composites.
    [[nodiscard]] bool startCompositor();
    void stopCompositor();

private:
    struct SavedVariable {
        QByteArray name;
        QByteArray value;
        bool wasSet;
    };
    void setVariable(const QByteArray& name, const QByteArray& value);
    [[nodiscard]] bool awaitWindowManager();
    [[nodiscard]] bool startBus();
    [[nodiscard]] QByteArray busAddress() const;
    [[nodiscard]] QList<QByteArray> command(const Options& options) const;

    QTemporaryDir folder_;
    QList<SavedVariable> saved_;
    QByteArray name_;
    ChildProcess server_;
    ChildProcess bus_;
    ChildProcess windowManager_;
    ChildProcess compositor_;
};

/// The display that runX11Tests() started.
[[nodiscard]] VirtualDisplay& display();

} // namespace velmo::test
