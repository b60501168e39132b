#include "platform/linux/JsonFileDefaults.h"

#include "core/Identity.h"
#include "core/Text.h"
#include "core/async/MainLoop.h"
#include "platform/linux/FileLock.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>
#include <QStandardPaths>
#include <cerrno>
#include <sys/stat.h>
#include <utility>

namespace velmo {

namespace {

constexpr std::chrono::milliseconds kLockPatience{2000};
/// Nobody waits long for a start, nor for a program that has had the lock for too long already.
constexpr std::chrono::milliseconds kShortPatience{100};
/// Far beyond any real settings; a file larger than this is not ours.
constexpr qint64 kMaximumBytes = qint64(16) * 1024 * 1024;

using ReadOutcome = JsonFileDefaults::Content;

ReadOutcome readFile(const QString& path)
{
    struct stat status {};
    if (stat(QFile::encodeName(path).constData(), &status) != 0) {
        if (errno == ENOENT)
            return {};
        return {{}, systemErrorText(errno)};
    }
    // Opening a pipe would wait for somebody to write to it.
    if (!S_ISREG(status.st_mode))
        return {{}, QStringLiteral("it is not a regular file")};
    if (status.st_size > kMaximumBytes)
        return {{}, QStringLiteral("it is too large")};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {{}, file.errorString()};
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError)
        return {{}, error.errorString()};
    if (!document.isObject())
        return {{}, QStringLiteral("it does not hold an object")};
    return {document.object(), {}};
}

/// A name that nothing has yet, so that what was kept once stays.
QString asideName(const QString& path)
{
    constexpr int kMostKept = 100;
    QString name = path + QStringLiteral(".bad");
    for (int number = 2; QFile::exists(name) && number < kMostKept; ++number)
        name = path + QStringLiteral(".bad.") + QString::number(number);
    return name;
}

/// Gives the sentence for the log.
QString moveAside(const QString& path, const QString& reason)
{
    const QString aside = asideName(path);
    const bool moved =
        std::rename(QFile::encodeName(path).constData(), QFile::encodeName(aside).constData()) == 0;
    return QStringLiteral("Settings file ") + path + QStringLiteral(" could not be read (") + reason +
           QStringLiteral("); using the defaults") +
           (moved ? QStringLiteral(", the file is kept as ") + aside : QString());
}

QString lockName(const QString& path)
{
    return path + QStringLiteral(".lock");
}

/// What programs have left that died while they saved. Under the lock nobody is at work on one.
void removeUnfinished(const QString& path)
{
    constexpr qsizetype kRandomLetters = 6;
    const QFileInfo file(path);
    const QString prefix = file.fileName() + u'.';
    QDir folder = file.dir();
    // Looked through by hand: the folder's own filters would bring the engine for regular expressions into
    // a program that has no other use for it.
    for (const QString& name : folder.entryList(QDir::Files)) {
        if (name.size() == prefix.size() + kRandomLetters && name.startsWith(prefix))
            folder.remove(name);
    }
}

} // namespace

/// The worker's side. Only the queue touches it.
struct JsonFileDefaults::Writer {
    QString path;
    QJsonObject pending; ///< Also what an earlier write could not bring to the disk.
    /// By another program, for as long as anybody waits: with nothing new it is not waited for so long again.
    bool wasLocked = false;

    /// The problem in a sentence, or nothing.
    QString write(const QJsonObject& changes)
    {
        for (auto change = changes.begin(); change != changes.end(); ++change)
            pending.insert(change.key(), change.value());
        if (!changes.isEmpty())
            wasLocked = false;
        const QString folder = QFileInfo(path).path();
        if (!QDir().mkpath(folder))
            return QStringLiteral("Settings could not be saved: ") + folder +
                   QStringLiteral(" cannot be created");
        FileLock lock(lockName(path));
        const int error = lock.tryLock(wasLocked ? kShortPatience : kLockPatience);
        wasLocked = error == EWOULDBLOCK;
        if (error != 0)
            return QStringLiteral("Settings could not be saved: ") + path +
                   QStringLiteral(" cannot be locked (") +
                   (wasLocked ? QStringLiteral("another program has the lock") : systemErrorText(error)) +
                   u')';

        ReadOutcome existing = readFile(path);
        QString problem = existing.problem.isEmpty() ? QString() : moveAside(path, existing.problem);
        for (auto change = pending.begin(); change != pending.end(); ++change)
            existing.values.insert(change.key(), change.value());

        removeUnfinished(path);
        QSaveFile file(path);
        const QByteArray text = QJsonDocument(existing.values).toJson();
        if (!file.open(QIODevice::WriteOnly) ||
            !file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner))
            return QStringLiteral("Settings could not be saved: ") + file.errorString();
        // A disk that fills up takes a part of the text, and the toolkit would put that in the place of the
        // file.
        if (file.write(text) != text.size() || !file.flush() || file.size() != text.size())
            return QStringLiteral(
                "Settings could not be saved: only a part could be written, the disk may be full");
        if (!file.commit())
            return QStringLiteral("Settings could not be saved: ") + file.errorString();
        pending = {};
        return problem;
    }
};

QString JsonFileDefaults::standardPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/velmo/settings.json");
}

JsonFileDefaults::Content JsonFileDefaults::look(const QString& path)
{
    return readFile(path);
}

JsonFileDefaults::JsonFileDefaults(const QString& path)
    : writer_(std::make_shared<Writer>(Writer{path, {}, false}))
    , self_(std::make_shared<JsonFileDefaults*>(this))
    , queue_(std::string(kApplicationIdentifier) + ".settings")
{
    ReadOutcome outcome = readFile(path);
    if (!outcome.problem.isEmpty()) {
        // Another instance may have mended the file in this very moment, so only what is bad under the lock
        // goes.
        FileLock lock(lockName(path));
        static_cast<void>(lock.tryLock(kShortPatience));
        outcome = readFile(path);
        if (!outcome.problem.isEmpty())
            problems_.append(moveAside(path, outcome.problem));
    }
    values_ = std::move(outcome.values);
}

JsonFileDefaults::~JsonFileDefaults()
{
    onProblem_ = nullptr; // Whoever listened may be gone already.
    flush();
    *self_ = nullptr;
}

QJsonValue JsonFileDefaults::object(const QString& key) const
{
    return values_.value(key);
}

void JsonFileDefaults::setObject(const QString& key, const QJsonValue& value)
{
    values_.insert(key, value);
    unwritten_.insert(key, value);
    schedule();
}

void JsonFileDefaults::schedule()
{
    if (std::exchange(scheduled_, true))
        return;
    async::postToMainLoop([self = self_] {
        if (*self)
            (*self)->handOver();
    });
}

void JsonFileDefaults::handOver()
{
    scheduled_ = false;
    if (unwritten_.isEmpty())
        return;
    queue_.async([writer = writer_, changes = std::exchange(unwritten_, {}), self = self_] {
        const QString problem = writer->write(changes);
        if (problem.isEmpty())
            return;
        async::postToMainLoop([self, problem] {
            if (*self)
                (*self)->report(problem);
        });
    });
}

void JsonFileDefaults::flush()
{
    // With nothing new to write, what could not be written before gets another chance.
    const bool tryAgain = unwritten_.isEmpty();
    handOver();
    QString problem;
    queue_.sync([this, tryAgain, &problem] {
        if (tryAgain && !writer_->pending.isEmpty())
            problem = writer_->write({});
    });
    if (!problem.isEmpty())
        report(problem);
}

void JsonFileDefaults::report(const QString& problem)
{
    if (onProblem_)
        onProblem_(problem);
    else
        problems_.append(problem);
}

QStringList JsonFileDefaults::takeProblems()
{
    return std::exchange(problems_, {});
}

void JsonFileDefaults::setProblemHandler(std::function<void(const QString&)> handler)
{
    onProblem_ = std::move(handler);
}

} // namespace velmo
