#include "support/keyring/PrivateKeyring.h"

#include "support/accessibility/BusAccess.h"
#include "support/x11/Await.h"

#include <systemd/sd-bus.h>

#include <QFile>
#include <csignal>

namespace velmo::test {
namespace {

const std::string kName = "org.freedesktop.secrets";
const std::string kRoot = "/org/freedesktop/secrets";
const std::string kService = "org.freedesktop.Secret.Service";
constexpr int kPatienceMilliseconds = static_cast<int>(kPatience.count());

QByteArray readLine(QProcess& process)
{
    while (!process.canReadLine()) {
        if (!process.waitForReadyRead(kPatienceMilliseconds))
            return {};
    }
    return process.readLine().trimmed();
}

} // namespace

PrivateKeyring::PrivateKeyring()
{
    prompter_.setProcessEnvironment(environment());
    prompter_.start(QStringLiteral("python3"), {QStringLiteral(VELMO_PROMPTER_SCRIPT)});
    prompterName_ = readLine(prompter_);
}

PrivateKeyring::~PrivateKeyring()
{
    prompter_.kill();
    prompter_.waitForFinished(kPatienceMilliseconds);
}

QProcessEnvironment PrivateKeyring::environment() const
{
    QProcessEnvironment environment;
    environment.insert(QStringLiteral("PATH"), qEnvironmentVariable("PATH"));
    environment.insert(QStringLiteral("LANG"), QStringLiteral("C.UTF-8"));
    for (const char* name : {"HOME", "XDG_RUNTIME_DIR", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"})
        environment.insert(QString::fromLatin1(name), home_.path());
    environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                       QString::fromUtf8(buses_.sessionAddress()));
    return environment;
}

bool PrivateKeyring::startUnlocked()
{
    QFile password(home_.filePath(QStringLiteral("password")));
    if (!password.open(QIODevice::WriteOnly) || password.write(kPassword) != kPassword.size())
        return false;
    password.close();
    return start("exec gnome-keyring-daemon --foreground --unlock --components=secrets <" +
                 password.fileName().toUtf8());
}

bool PrivateKeyring::startWithoutPassword()
{
    return start("exec gnome-keyring-daemon --foreground --components=secrets");
}

bool PrivateKeyring::start(const QByteArray& command)
{
    if (prompterName_.isEmpty())
        return false;
    daemon_.stop();
    QList<QByteArray> words{"env", "-i"};
    for (const QString& variable : environment().toStringList())
        words.append(variable.toUtf8());
    words += {"GNOME_KEYRING_TEST_PROMPTER=" + prompterName_, "sh", "-c", command};
    daemon_ = ChildProcess(words);
    return awaitCondition([this] {
        return askBus(busAddress(), {kName, kRoot, "org.freedesktop.DBus.Peer", "Ping", std::nullopt},
                      [](BusMessage&) {});
    });
}

bool PrivateKeyring::lock()
{
    BusRequest request{kName, kRoot, kService, "Lock", std::nullopt};
    request.writeArguments = [](sd_bus_message* message) {
        return sd_bus_message_append(message, "ao", 1, "/org/freedesktop/secrets/collection/login");
    };
    return askBus(busAddress(), request, [](BusMessage&) {});
}

void PrivateKeyring::holdAnswers()
{
    kill(static_cast<pid_t>(prompter_.processId()), SIGSTOP);
}

void PrivateKeyring::giveAnswers()
{
    kill(static_cast<pid_t>(prompter_.processId()), SIGCONT);
}

void PrivateKeyring::willNeverAnswer()
{
    tellPrompter("delay 3600000");
    willAnswer(kPassword);
}

QByteArray PrivateKeyring::tellPrompter(const QByteArray& command)
{
    prompter_.write(command + '\n');
    return readLine(prompter_);
}

PrivateKeyring::ToolResult PrivateKeyring::secretTool(const QStringList& arguments,
                                                      const QByteArray& input) const
{
    QProcess tool;
    tool.setProcessEnvironment(environment());
    tool.start(QStringLiteral("secret-tool"), arguments);
    tool.write(input);
    tool.closeWriteChannel();
    if (!tool.waitForFinished(kPatienceMilliseconds))
        return {};
    return {tool.exitCode(), tool.readAllStandardOutput()};
}

} // namespace velmo::test
