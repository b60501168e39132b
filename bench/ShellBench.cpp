#include "Benchmarks.h"
#include "Limits.h"
#include "core/Clock.h"
#include "support/accessibility/PrivateBuses.h"
#include "support/tray/TrayHost.h"
#include "support/x11/Await.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

namespace velmo::bench {

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr std::chrono::seconds kIdle{60};
constexpr std::chrono::seconds kSettling{5};

void skip(benchmark::State& state, const char* reason)
{
    state.SkipWithError(reason);
    Limits::shared().fail(reason);
}

/// A number of kibibytes, or of switches, from one of a process's files in /proc.
double numberIn(const QString& path, const QByteArray& key)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (line.startsWith(key + ':'))
            return line.sliced(key.size() + 1).simplified().split(' ').value(0).toDouble();
    }
    return 0;
}

/// What a program of the tray costs: started on a session of its own, with a bar that waits for it.
class Resident {
public:
    Resident(QString program, QStringList arguments)
        : program_(std::move(program))
        , arguments_(std::move(arguments))
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                           QString::fromLatin1(buses_.sessionAddress()));
        environment.insert(QStringLiteral("HOME"), home_.path());
        for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"})
            environment.insert(QString::fromLatin1(name), folder(QString::fromLatin1(name)));
        process_.setProcessEnvironment(environment);
        process_.setStandardOutputFile(QProcess::nullDevice());
        process_.setStandardErrorFile(QProcess::nullDevice());
        writeSettings();
    }
    Resident(const Resident&) = delete;
    Resident& operator=(const Resident&) = delete;
    ~Resident()
    {
        process_.terminate();
        if (!process_.waitForFinished())
            process_.kill();
    }

    /// Until its item is in the bar.
    [[nodiscard]] std::optional<Milliseconds> start()
    {
        if (!bar_.start())
            return std::nullopt;
        const auto begin = Clock::now();
        process_.start(program_, arguments_);
        if (!test::awaitCondition([this] { return !bar_.items().isEmpty(); }))
            return std::nullopt;
        return Clock::now() - begin;
    }

    [[nodiscard]] double kibibytes(const QByteArray& kind) const
    {
        return numberIn(folderInProc() + QStringLiteral("/smaps_rollup"), kind);
    }

    /// How often a thread of it went to sleep until now, which is how often one woke.
    [[nodiscard]] double wakeUps() const
    {
        double sum = 0;
        const QDir threads(folderInProc() + QStringLiteral("/task"));
        for (const QString& thread : threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
            sum += numberIn(threads.filePath(thread) + QStringLiteral("/status"), "voluntary_ctxt_switches");
        return sum;
    }

    /// Of all its threads until now.
    [[nodiscard]] Milliseconds processorTime() const
    {
        QFile file(folderInProc() + QStringLiteral("/stat"));
        if (!file.open(QIODevice::ReadOnly))
            return Milliseconds(0);
        const QByteArray text = file.readAll();
        const QByteArrayList fields = text.sliced(text.lastIndexOf(')') + 2).split(' ');
        constexpr qsizetype kUserTime = 11;
        constexpr qsizetype kSystemTime = 12;
        const double ticks = fields.value(kUserTime).toDouble() + fields.value(kSystemTime).toDouble();
        return Milliseconds(1000 * ticks / static_cast<double>(sysconf(_SC_CLK_TCK)));
    }

private:
    [[nodiscard]] QString folderInProc() const
    {
        return QStringLiteral("/proc/") + QString::number(process_.processId());
    }
    [[nodiscard]] QString folder(const QString& name) const
    {
        QString path = home_.filePath(name);
        QDir().mkpath(path);
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return path;
    }
    /// Of somebody who has been through the first start.
    void writeSettings() const
    {
        const QString velmo = folder(QStringLiteral("XDG_CONFIG_HOME/velmo"));
        QFile file(velmo + QStringLiteral("/settings.json"));
        if (file.open(QIODevice::WriteOnly))
            file.write(R"({"hasCompletedOnboarding": true})");
    }

    const QString program_;
    const QStringList arguments_;
    test::PrivateBuses buses_;
    test::TrayHost bar_{buses_.sessionAddress()};
    QTemporaryDir home_;
    QProcess process_;
};

std::unique_ptr<Resident> makeResident(bool isPeer)
{
    if (!isPeer)
        return std::make_unique<Resident>(QStringLiteral(VELMO_EXECUTABLE),
                                          QStringList{QStringLiteral("--background")});
    const QString peer = QStandardPaths::findExecutable(QStringLiteral("flameshot"));
    return peer.isEmpty() ? nullptr : std::make_unique<Resident>(peer, QStringList());
}

void startToTray(benchmark::State& state)
{
    for (auto _ : state) {
        for (const bool isPeer : {false, true}) {
            const auto resident = makeResident(isPeer);
            if (!resident)
                continue;
            const auto time = resident->start();
            if (!time)
                return skip(state, "a program did not come to the tray");
            Limits::shared().note(isPeer ? "tray/peer" : "tray/velmo", time->count());
        }
    }
}
BENCHMARK(startToTray)->Iterations(9)->Unit(benchmark::kMillisecond);

void memoryAtIdle(benchmark::State& state)
{
    for (auto _ : state) {
        for (const bool isPeer : {false, true}) {
            const auto resident = makeResident(isPeer);
            if (!resident)
                continue;
            if (!resident->start())
                return skip(state, "a program did not come to the tray");
            QThread::sleep(kSettling.count());
            const std::string name = isPeer ? "peer" : "velmo";
            Limits::shared().note("rss/" + name, resident->kibibytes("Rss"));
            Limits::shared().note("pss/" + name, resident->kibibytes("Pss"));
        }
    }
}
BENCHMARK(memoryAtIdle)->Iterations(3)->Unit(benchmark::kMillisecond);

void idleMinute(benchmark::State& state)
{
    for (auto _ : state) {
        const auto resident = makeResident(false);
        if (!resident->start())
            return skip(state, "the program did not come to the tray");
        QThread::sleep(kSettling.count());
        const double wakeUps = resident->wakeUps();
        const Milliseconds time = resident->processorTime();
        QThread::sleep(kIdle.count());
        Limits::shared().note("wake-ups",
                              (resident->wakeUps() - wakeUps) / static_cast<double>(kIdle.count()));
        Limits::shared().note("processor", (resident->processorTime() - time).count());
    }
}
BENCHMARK(idleMinute)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace

void checkShellLimits()
{
    Limits& limits = Limits::shared();
    Limits::report("start to the item in the tray, ms", limits.value("tray/velmo"));
    limits.checkRatio("start to the item in the tray / flameshot's", "tray/velmo", "tray/peer", 1);
    Limits::report("resident memory at idle, MiB", limits.value("rss/velmo") / 1024);
    limits.checkRatio("resident memory at idle / flameshot's", "rss/velmo", "rss/peer", 1);
    Limits::report("proportional memory at idle, MiB", limits.value("pss/velmo") / 1024);
    limits.checkRatio("proportional memory at idle / flameshot's", "pss/velmo", "pss/peer", 1);
    // One of them is the look at the permissions.
    limits.check("wake-ups a second at idle", limits.value("wake-ups"), 2);
    Limits::report("processor time in an idle minute, ms", limits.value("processor"));
}

} // namespace velmo::bench
