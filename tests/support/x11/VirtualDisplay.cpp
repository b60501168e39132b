#include "support/x11/VirtualDisplay.h"

#include "platform/x11/X11Connection.h"
#include "support/x11/Await.h"

#include <QDir>
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

} // namespace

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

    int pipe[2];
    if (pipe2(pipe, O_CLOEXEC) != 0)
        return;
    QList<QByteArray> command{"Xvfb",       "-displayfd", QByteArray::number(pipe[1]),
                              "-screen",    "0",          options.screen,
                              "+extension", "Composite",  "-nolisten",
                              "tcp",        "-noreset"};
    command += options.arguments;
    server_ = ChildProcess(command, pipe[1]);
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

bool VirtualDisplay::startWindowManager()
{
    windowManager_ = ChildProcess({"openbox", "--sm-disable"});
    const auto connection = X11Connection::open();
    return connection && awaitCondition([&] { return isManaged(*connection); }) && showsWindows(*connection);
}

void VirtualDisplay::stopWindowManager()
{
    windowManager_.stop();
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
