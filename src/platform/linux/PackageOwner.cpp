#include "platform/linux/PackageOwner.h"

#include "core/async/OneShot.h"

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTimer>
#include <array>
#include <chrono>

namespace velmo {

namespace {

constexpr std::chrono::milliseconds kPatience{2000};

/// A program that succeeds for a file that it has installed.
struct PackageManager {
    const char* name;
    const char* program;
    const char* question;
};
constexpr std::array kManagers{
    PackageManager{"APT", "dpkg-query", "--search"},
    PackageManager{"RPM", "rpm", "--query --file"},
    PackageManager{"pacman", "pacman", "--query --owns"},
    PackageManager{"apk", "apk", "info --who-owns"},
};

/// Those that run programs in a world of their own tell so there.
QString sandboxOwner()
{
    if (QFile::exists(QStringLiteral("/.flatpak-info")))
        return QStringLiteral("Flatpak");
    if (qEnvironmentVariable("SNAP_INSTANCE_NAME").startsWith(QStringLiteral("velmo")))
        return QStringLiteral("Snap");
    return {};
}

/// A program that is left to itself when nobody waits for it any more: it is killed, and whenever it is gone
/// its object goes, too. The toolkit would wait for that.
class AbandonedProcess {
public:
    AbandonedProcess()
        : process_(new QProcess)
    {}
    AbandonedProcess(const AbandonedProcess&) = delete;
    AbandonedProcess& operator=(const AbandonedProcess&) = delete;
    ~AbandonedProcess()
    {
        process_->disconnect();
        if (process_->state() == QProcess::NotRunning) {
            process_->deleteLater();
            return;
        }
        QObject::connect(process_, &QProcess::finished, process_, &QObject::deleteLater);
        process_->kill();
    }
    [[nodiscard]] QProcess* operator->() const { return process_; }
    [[nodiscard]] QProcess* get() const { return process_; }

private:
    QProcess* process_;
};

async::Task<bool> succeeds(QString program, QStringList arguments)
{
    const async::OneShot<bool> end;
    const AbandonedProcess process;
    process->setStandardInputFile(QProcess::nullDevice());
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    QObject::connect(process.get(), &QProcess::finished, process.get(),
                     [end](int code, QProcess::ExitStatus status) {
                         end.resolve(status == QProcess::NormalExit && code == 0);
                     });
    QObject::connect(process.get(), &QProcess::errorOccurred, process.get(), [end] { end.resolve(false); });
    QTimer::singleShot(kPatience, process.get(), [end] { end.resolve(false); });
    process->start(program, arguments);
    const bool success = co_await end.value();
    co_return success;
}

} // namespace

async::Task<QString> findPackageOwner(QString executable)
{
    if (const QString owner = sandboxOwner(); !owner.isEmpty())
        co_return owner;
    for (const PackageManager& manager : kManagers) {
        const QString program = QStandardPaths::findExecutable(QString::fromLatin1(manager.program));
        if (program.isEmpty())
            continue;
        QStringList arguments = QString::fromLatin1(manager.question).split(u' ');
        arguments.append(executable);
        if (co_await succeeds(program, arguments))
            co_return QString::fromLatin1(manager.name);
    }
    co_return QString();
}

} // namespace velmo
