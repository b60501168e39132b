#pragma once

#include "support/x11/Await.h"

#include <QProcess>
#include <QString>
#include <QStringList>

namespace velmo::test {

/// A program as a process of its own, with the lines that it prints. It ends with the test.
class LoggedProgram {
public:
    LoggedProgram() = default;
    LoggedProgram(const LoggedProgram&) = delete;
    LoggedProgram& operator=(const LoggedProgram&) = delete;
    ~LoggedProgram() { stop(); }

    void start(const QString& program, const QStringList& arguments = {})
    {
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process_.start(program, arguments);
    }

    void stop()
    {
        if (process_.state() == QProcess::NotRunning)
            return;
        process_.terminate();
        if (!process_.waitForFinished())
            kill();
    }

    /// Without a chance to tidy up.
    void kill()
    {
        process_.kill();
        process_.waitForFinished();
    }

    [[nodiscard]] QProcess& process() { return process_; }

    [[nodiscard]] QStringList lines()
    {
        output_ += process_.readAllStandardOutput();
        return QString::fromUtf8(output_).split(u'\n', Qt::SkipEmptyParts);
    }

    /// How many lines hold the text.
    [[nodiscard]] qsizetype count(const QString& text) { return lines().filter(text).size(); }

    [[nodiscard]] bool await(const QString& text, qsizetype times = 1)
    {
        return awaitCondition([&] { return count(text) >= times; });
    }

private:
    QProcess process_;
    QByteArray output_;
};

} // namespace velmo::test
