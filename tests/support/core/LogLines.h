#pragma once

#include "core/DebugLog.h"

#include <QFile>
#include <QRegularExpression>
#include <QStringList>
#include <QTemporaryDir>

namespace velmo {

/// The log of one test, in a file of its own.
class LogLines {
public:
    LogLines() { DebugLog::setLogFile(path()); }
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;
    /// Nothing that comes late may end up in the next test's file.
    ~LogLines() { DebugLog::flush(); }

    [[nodiscard]] QString path() const { return folder_.filePath(QStringLiteral("velmo.log")); }

    /// The whole file, as it is.
    [[nodiscard]] QString text() const
    {
        DebugLog::flush();
        QFile file(path());
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    /// The lines that came since the last call, without their time stamps: "[Category] message".
    QStringList take()
    {
        QStringList lines = text().split(u'\n', Qt::SkipEmptyParts);
        lines.remove(0, taken_);
        taken_ += lines.size();
        static const QRegularExpression stamp(
            QStringLiteral("^\\[\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ\\] "));
        for (QString& line : lines)
            line.remove(stamp);
        return lines;
    }

    /// The session's messages since the last call.
    QStringList takeSession()
    {
        const QString prefix = QStringLiteral("[Session] ");
        QStringList messages;
        for (const QString& line : take()) {
            if (line.startsWith(prefix))
                messages.append(line.sliced(prefix.size()));
        }
        return messages;
    }

private:
    QTemporaryDir folder_;
    qsizetype taken_ = 0;
};

} // namespace velmo
