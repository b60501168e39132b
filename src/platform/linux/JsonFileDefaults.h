#pragma once

#include "core/async/SerialQueue.h"
#include "platform/UserDefaults.h"

#include <QJsonObject>
#include <functional>
#include <memory>

namespace velmo {

/// The settings file: one JSON object, so that types survive. Several instances of the program may share it.
///
/// Reading happens once, at construction. Writes are gathered for one turn of the main loop, then merged into
/// the file by a worker, under a lock and by replacing it; keys that others wrote are kept. A file that
/// cannot be understood is moved aside, never overwritten.
class JsonFileDefaults final : public UserDefaults {
public:
    /// "$XDG_CONFIG_HOME/velmo/settings.json".
    [[nodiscard]] static QString standardPath();

    struct Content {
        QJsonObject values;
        QString problem; ///< Why it cannot be understood; empty if it can, or is not there.
    };
    /// What the file holds, without touching it.
    [[nodiscard]] static Content look(const QString& path = standardPath());

    explicit JsonFileDefaults(const QString& path = standardPath());
    /// Writes what is still to be written; problems are told to nobody any more.
    ~JsonFileDefaults() override;

    [[nodiscard]] QJsonValue object(const QString& key) const override;
    void setObject(const QString& key, const QJsonValue& value) override;

    /// Waits until everything set so far was tried to be written. For the end of the process.
    void flush();

    /// What went wrong so far, in sentences. Later problems go to the handler, on the main thread.
    [[nodiscard]] QStringList takeProblems();
    void setProblemHandler(std::function<void(const QString&)> handler);

private:
    struct Writer;
    void schedule();
    void handOver();
    void report(const QString& problem);

    QJsonObject values_;
    QJsonObject unwritten_;
    bool scheduled_ = false;
    QStringList problems_;
    std::function<void(const QString&)> onProblem_;
    std::shared_ptr<Writer> writer_;
    std::shared_ptr<JsonFileDefaults*> self_; ///< Cleared at destruction, for calls that come later.
    async::SerialQueue queue_;
};

} // namespace velmo
