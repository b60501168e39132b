#include "support/accessibility/PrivateBuses.h"

#include "platform/linux/AtSpiNames.h"
#include "support/accessibility/BusAccess.h"
#include "support/x11/Await.h"

#include <QDir>
#include <QFile>

namespace velmo::test {
namespace {

const std::string kBusName = "org.freedesktop.DBus";

QByteArray configuration(const QByteArray& address, const QByteArray& services)
{
    return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
           "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig><type>session</type><listen>" +
           address + "</listen><auth>EXTERNAL</auth><servicedir>" + services +
           "</servicedir><policy context=\"default\"><allow send_destination=\"*\"/>"
           "<allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>\n";
}

} // namespace

PrivateBuses::PrivateBuses()
    : address_("unix:path=" + folder_.filePath(QStringLiteral("bus")).toUtf8())
{
    QFile file(folder_.filePath(QStringLiteral("bus.conf")));
    if (!file.open(QIODevice::WriteOnly))
        return;
    const QString services = folder_.filePath(QStringLiteral("services"));
    QDir().mkpath(services);
    file.write(configuration(address_, services.toUtf8()));
    file.close();
    session_ =
        ChildProcess({"dbus-daemon", "--nofork", "--nopidfile", "--config-file=" + file.fileName().toUtf8()});
    static_cast<void>(awaitCondition([this] {
        return askBus(address_.toStdString(), {kBusName, "/", kBusName, "GetId", std::nullopt},
                      [](BusMessage&) {});
    }));
}

bool PrivateBuses::offer(const QByteArray& name, const QByteArray& command)
{
    QFile file(
        folder_.filePath(QStringLiteral("services/") + QString::fromUtf8(name) + QStringLiteral(".service")));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    file.write("[D-BUS Service]\nName=" + name + "\nExec=" + command + '\n');
    file.close();
    return askBus(address_.toStdString(), {kBusName, "/", kBusName, "ReloadConfig", std::nullopt},
                  [](BusMessage&) {});
}

bool PrivateBuses::startAccessibility()
{
    // Without a display the launcher leaves no trace of its bus on the root window, where applications would
    // find it after its end. Without a settings daemon it cannot switch accessibility on for anybody.
    launcher_ = ChildProcess({VELMO_NANNY_EXECUTABLE, "env", "-u", "DISPLAY", "GSETTINGS_BACKEND=memory",
                              "DBUS_SESSION_BUS_ADDRESS=" + address_, "/usr/libexec/at-spi-bus-launcher",
                              "--launch-immediately"});
    return awaitCondition([this] { return accessibilityAddress().has_value(); });
}

std::optional<std::string> PrivateBuses::accessibilityAddress() const
{
    std::optional<std::string> address;
    askBus(address_.toStdString(),
           {"org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", std::nullopt},
           [&](BusMessage& message) { address = message.readText(); });
    return address;
}

std::optional<pid_t> PrivateBuses::ownerOf(const std::string& name) const
{
    std::optional<pid_t> process;
    if (const auto address = accessibilityAddress()) {
        askBus(*address, {kBusName, "/", kBusName, "GetConnectionUnixProcessID", name},
               [&](BusMessage& message) {
                   if (const auto number = message.readNumber())
                       process = static_cast<pid_t>(*number);
               });
    }
    return process;
}

std::optional<pid_t> PrivateBuses::accessibilityProcess() const
{
    return ownerOf(kBusName);
}

std::optional<pid_t> PrivateBuses::registryProcess() const
{
    const bool hasApplication = awaitCondition([&] {
        size_t count = 0;
        if (const auto address = accessibilityAddress())
            askBus(*address, atspi::getChildren({atspi::kRegistry, atspi::kRootPath}),
                   [&](BusMessage& message) { count = message.readObjects().size(); });
        return count > 0;
    });
    return hasApplication ? ownerOf(atspi::kRegistry) : std::nullopt;
}

} // namespace velmo::test
