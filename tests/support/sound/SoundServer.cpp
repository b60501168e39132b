#include "support/sound/SoundServer.h"

#include "support/x11/Await.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <csignal>

namespace velmo::test {
namespace {

/// Nothing starts by itself on this bus.
QByteArray busConfiguration(const QByteArray& socket)
{
    return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
           "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig><type>session</type><listen>unix:path=" +
           socket +
           "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\"/>"
           "<allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>\n";
}

} // namespace

SoundServer::SoundServer(Kind kind)
    : kind_(kind)
{
    const auto set = [this](const char* name, const QByteArray& value) {
        environment_.push_back(std::make_unique<EnvironmentVariable>(name, value));
    };
    set("PULSE_SERVER", "unix:" + inFolder("native"));
    set("PULSE_COOKIE", inFolder("cookie"));
    if (kind == Kind::PulseAudio)
        startPulseAudio();
    else
        startPipeWire();
    if (!awaitCondition([this] { return !ask({QStringLiteral("info")}).isEmpty(); }))
        return;
    speakers_ = loadSink(kSpeakers);
    isReady_ = !speakers_.isEmpty();
}

SoundServer::~SoundServer()
{
    resume();
    while (!processes_.empty())
        processes_.pop_back();
}

QByteArray SoundServer::inFolder(const char* name) const
{
    return QFile::encodeName(folder_.filePath(QString::fromLatin1(name)));
}

void SoundServer::start(const QList<QByteArray>& command)
{
    // Neither settings nor anything else of whoever runs the test has a part in it.
    QList<QByteArray> clean{"env",
                            "-u",
                            "DISPLAY",
                            "-u",
                            "PULSE_SERVER",
                            "HOME=" + inFolder("home"),
                            "XDG_RUNTIME_DIR=" + inFolder("."),
                            "XDG_CONFIG_HOME=" + inFolder("config"),
                            "XDG_STATE_HOME=" + inFolder("state"),
                            "DBUS_SESSION_BUS_ADDRESS=unix:path=" + inFolder("bus"),
                            "DBUS_SYSTEM_BUS_ADDRESS=disabled:"};
    processes_.emplace_back(clean + command);
}

void SoundServer::startPulseAudio()
{
    start({"pulseaudio", "-n", "--daemonize=no", "--use-pid-file=no", "--exit-idle-time=-1",
           "--disallow-exit=yes", "--realtime=no", "--high-priority=no", "--log-target=null",
           "--load=module-native-protocol-unix auth-anonymous=1 socket=" + inFolder("native")});
}

void SoundServer::startPipeWire()
{
    QFile configuration(folder_.filePath(QStringLiteral("bus.conf")));
    if (!configuration.open(QIODevice::WriteOnly))
        return;
    configuration.write(busConfiguration(inFolder("bus")));
    configuration.close();
    start({"dbus-daemon", "--nofork", "--nopidfile", "--config-file=" + inFolder("bus.conf")});
    start({"pipewire"});
    const auto isThere = [this](const char* name) {
        return awaitCondition([&] { return QFile::exists(folder_.filePath(QString::fromLatin1(name))); });
    };
    if (!isThere("bus") || !isThere("pipewire-0"))
        return;
    start({"wireplumber"});
    QDir(folder_.path()).mkdir(QStringLiteral("pulse"));
    QFile::link(QStringLiteral("pulse/native"), folder_.filePath(QStringLiteral("native")));
    start({"pipewire-pulse"});
}

QString SoundServer::ask(const QStringList& request) const
{
    QProcess process;
    process.start(QStringLiteral("pactl"), request);
    if (!process.waitForFinished() || process.exitCode() != 0)
        return {};
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QString SoundServer::loadModule(const QStringList& module) const
{
    return ask(QStringList{QStringLiteral("load-module")} + module);
}

QString SoundServer::loadSink(const char* name) const
{
    QStringList module{QStringLiteral("module-null-sink"),
                       QStringLiteral("sink_name=") + QString::fromLatin1(name)};
    // Otherwise it works in blocks of two seconds until it has heard, after the first, that somebody is in a
    // greater hurry.
    if (kind_ == Kind::PulseAudio)
        module.append(QStringLiteral("norewinds=1"));
    return loadModule(module);
}

bool SoundServer::hasSource(const QString& name) const
{
    return ask({QStringLiteral("list"), QStringLiteral("short"), QStringLiteral("sources")})
        .contains(u'\t' + name + u'\t');
}

bool SoundServer::plugMicrophone()
{
    const QString name = QString::fromLatin1(kMicrophone);
    loadSink(kMicrophoneSink);
    microphone_ = loadModule(
        {QStringLiteral("module-remap-source"), QStringLiteral("source_name=") + name,
         QStringLiteral("master=") + QString::fromLatin1(kMicrophoneSink) + QStringLiteral(".monitor")});
    return !microphone_.isEmpty() && awaitCondition([&] { return hasSource(name); }) &&
           makeDefaultSource(name);
}

bool SoundServer::unplugMicrophone()
{
    ask({QStringLiteral("unload-module"), microphone_});
    return awaitCondition([this] { return !hasSource(QString::fromLatin1(kMicrophone)); });
}

bool SoundServer::removeSpeakers()
{
    ask({QStringLiteral("unload-module"), speakers_});
    return awaitCondition(
        [this] { return !hasSource(QString::fromLatin1(kSpeakers) + QStringLiteral(".monitor")); });
}

bool SoundServer::makeDefaultSource(const QString& name)
{
    ask({QStringLiteral("set-default-source"), name});
    return awaitCondition([&] { return defaultSource() == name; });
}

QString SoundServer::defaultSource() const
{
    return ask({QStringLiteral("get-default-source")});
}

qsizetype SoundServer::recordingCount() const
{
    return ask({QStringLiteral("list"), QStringLiteral("source-outputs")})
        .count(QStringLiteral("application.name = \"Velmo\""));
}

qsizetype SoundServer::clientCount() const
{
    return ask({QStringLiteral("list"), QStringLiteral("clients")})
        .count(QStringLiteral("application.name = \"Velmo\""));
}

void SoundServer::moveRecordings(const QString& source) const
{
    const QString streams =
        ask({QStringLiteral("list"), QStringLiteral("short"), QStringLiteral("source-outputs")});
    for (const QString& stream : streams.split(u'\n', Qt::SkipEmptyParts)) {
        if (stream.contains(QStringLiteral("float32le 1ch 44100Hz")))
            ask({QStringLiteral("move-source-output"), stream.section(u'\t', 0, 0), source});
    }
}

void SoundServer::halt()
{
    processes_.back().halt();
}

void SoundServer::resume()
{
    if (!processes_.empty() && processes_.back().isRunning())
        ::kill(processes_.back().processID(), SIGCONT);
}

void SoundServer::kill()
{
    for (ChildProcess& process : processes_) {
        if (process.isRunning())
            ::kill(process.processID(), SIGKILL);
        process.stop();
    }
}

} // namespace velmo::test
