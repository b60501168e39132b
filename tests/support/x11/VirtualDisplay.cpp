#include "support/x11/VirtualDisplay.h"

#include "platform/x11/X11Connection.h"
#include "support/x11/Await.h"

#include <QDir>
#include <QFile>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace velmo::test {
namespace {

/// The server writes the number of the display that it took, once clients can connect.
QByteArray readDisplayNumber(int descriptor)
{
    QByteArray number;
    pollfd wait{descriptor, POLLIN, 0};
    while (!number.endsWith('\n') && poll(&wait, 1, static_cast<int>(kPatience.count())) > 0) {
        char character = 0;
        if (read(descriptor, &character, 1) != 1)
            break;
        number.append(character);
    }
    return number.endsWith('\n') ? number.trimmed() : QByteArray();
}

bool isManaged(X11Connection& connection)
{
    const auto check = connection.atom("_NET_SUPPORTING_WM_CHECK");
    const xcb_window_t window = readNumber(connection.get(), connection.root(), check);
    return window != XCB_NONE && readNumber(connection.get(), window, check) == window;
}

/// A window manager announces itself before it listens, and a window that asks to be shown in between is
/// forgotten until something else happens. So a probe asks again until it is shown.
bool showsWindows(X11Connection& connection)
{
    xcb_connection_t* xcb = connection.get();
    const xcb_window_t probe = xcb_generate_id(xcb);
    xcb_create_window(xcb, XCB_COPY_FROM_PARENT, probe, connection.root(), 0, 0, 10, 10, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    const auto isShown = [&] {
        xcb_map_window(xcb, probe);
        const auto attributes =
            connection.await(xcb_get_window_attributes_reply, xcb_get_window_attributes(xcb, probe));
        return attributes && attributes->map_state == XCB_MAP_STATE_VIEWABLE;
    };
    const bool shown = awaitCondition(isShown);
    xcb_destroy_window(xcb, probe);
    const xcb_atom_t clients = connection.atom("_NET_CLIENT_LIST");
    return shown &&
           awaitCondition([&] { return readNumbers(connection.get(), connection.root(), clients).empty(); });
}

/// A screen without a graphics card. The input devices of the machine are none of its business.
constexpr const char* kDummyConfiguration = R"(
Section "ServerFlags"
    Option "AutoAddDevices" "false"
    Option "AutoEnableDevices" "false"
    Option "DontVTSwitch" "true"
    Option "AllowMouseOpenFail" "true"
EndSection
Section "Device"
    Identifier "dummy"
    Driver "dummy"
    VideoRam 64000
EndSection
Section "Monitor"
    Identifier "monitor"
    HorizSync 5.0-1000.0
    VertRefresh 5.0-200.0
    Modeline "1920x1080" 23.53 1920 1952 2040 2072 1080 1106 1108 1135
EndSection
Section "Screen"
    Identifier "screen"
    Device "dummy"
    Monitor "monitor"
    DefaultDepth 24
    SubSection "Display"
        Depth 24
        Modes "1920x1080"
    EndSubSection
EndSection
)";

} // namespace

QList<QByteArray> VirtualDisplay::command(const Options& options) const
{
    if (options.server == Server::Virtual)
        return {"Xvfb",      "-screen",   "0",   options.screen, "+extension",
                "Composite", "-nolisten", "tcp", "-noreset"};
    const QString configuration = folder_.filePath(QStringLiteral("xorg.conf"));
    QFile file(configuration);
    if (file.open(QIODevice::WriteOnly))
        file.write(kDummyConfiguration);
    return {"Xorg",
            "-config",
            configuration.toUtf8(),
            "-logfile",
            folder_.filePath(QStringLiteral("xorg.log")).toUtf8(),
            "-novtswitch",
            "-sharevts",
            "-nolisten",
            "tcp",
            "-noreset"};
}

VirtualDisplay::VirtualDisplay(const Options& options)
{
    for (const QByteArray& name :
         {QByteArray("HOME"), QByteArray("XDG_CONFIG_HOME"), QByteArray("XDG_CACHE_HOME"),
          QByteArray("XDG_DATA_HOME"), QByteArray("XDG_RUNTIME_DIR")}) {
        const QString path = folder_.filePath(QString::fromLatin1(name));
        QDir().mkpath(path);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        setVariable(name, path.toUtf8());
    }
    setVariable("WAYLAND_DISPLAY", {});
    // Without any address a bus would be started.
    const QByteArray nowhere = "unix:path=" + folder_.filePath(QStringLiteral("no-session-bus")).toUtf8();
    setVariable("DBUS_SESSION_BUS_ADDRESS",
                options.sessionAddress.isEmpty() ? nowhere : options.sessionAddress);

    int pipe[2];
    if (pipe2(pipe, O_CLOEXEC) != 0)
        return;
    const QList<QByteArray> displayNumber{"-displayfd", QByteArray::number(pipe[1])};
    server_ = ChildProcess(command(options) + displayNumber + options.arguments, pipe[1]);
    close(pipe[1]);
    const QByteArray number = readDisplayNumber(pipe[0]);
    close(pipe[0]);
    if (number.isEmpty())
        return;
    name_ = ':' + number;
    setVariable("DISPLAY", name_);
}

VirtualDisplay::~VirtualDisplay()
{
    stopCompositor();
    stopWindowManager();
    server_.stop();
    for (auto variable = saved_.crbegin(); variable != saved_.crend(); ++variable) {
        if (variable->wasSet)
            qputenv(variable->name.constData(), variable->value);
        else
            qunsetenv(variable->name.constData());
    }
}

void VirtualDisplay::setVariable(const QByteArray& name, const QByteArray& value)
{
    saved_.append({name, qgetenv(name.constData()), qEnvironmentVariableIsSet(name.constData())});
    if (value.isNull())
        qunsetenv(name.constData());
    else
        qputenv(name.constData(), value);
}

bool VirtualDisplay::startWindowManager(const QString& configuration)
{
    QList<QByteArray> words{"openbox", "--sm-disable"};
    if (!configuration.isEmpty())
        words << "--config-file" << configuration.toUtf8();
    windowManager_ = ChildProcess(words);
    return awaitWindowManager();
}

bool VirtualDisplay::startWindowManager(const QString& name, FocusPolicy policy)
{
    const WindowManagerStart start = prepareWindowManager(name, policy);
    if (start.command.isEmpty() || (start.needsBus && !startBus()))
        return false;
    QList<QByteArray> words = start.command;
    if (start.needsBus)
        words = QList<QByteArray>{"env", "DBUS_SESSION_BUS_ADDRESS=" + busAddress()} + words;
    windowManager_ = ChildProcess(words);
    return awaitWindowManager();
}

QByteArray VirtualDisplay::busAddress() const
{
    return "unix:path=" + folder_.filePath(QStringLiteral("window-manager-bus")).toUtf8();
}

/// For the window manager alone, which may start its services there; they end with the bus.
bool VirtualDisplay::startBus()
{
    bus_ = ChildProcess({"dbus-daemon", "--session", "--nofork", "--nopidfile", "--address=" + busAddress()});
    return awaitCondition(
        [this] { return QFile::exists(folder_.filePath(QStringLiteral("window-manager-bus"))); });
}

bool VirtualDisplay::awaitWindowManager()
{
    const auto connection = X11Connection::open();
    return connection && awaitCondition([&] { return isManaged(*connection); }) && showsWindows(*connection);
}

void VirtualDisplay::stopWindowManager()
{
    windowManager_.stop();
    bus_.stop();
    QFile::remove(folder_.filePath(QStringLiteral("window-manager-bus")));
}

bool VirtualDisplay::startCompositor()
{
    compositor_ = ChildProcess({"picom", "--config", "/dev/null", "--backend", "xrender"});
    const auto connection = X11Connection::open();
    return connection && awaitCondition([&] { return connection->compositingManager() != XCB_NONE; });
}

void VirtualDisplay::stopCompositor()
{
    compositor_.stop();
}

} // namespace velmo::test
