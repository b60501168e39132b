#pragma once

#include "support/core/Printing.h"
#include "support/practice/PracticeServer.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <gmock/gmock.h>

namespace velmo {

/// What "velmo ask" left behind.
struct AskResult {
    int exitCode = -1;
    QByteArray output;
    QByteArray errors;

    /// The log lines among the errors, without their time stamps; the rest is in otherErrors().
    [[nodiscard]] QStringList logLines() const { return split().first; }
    [[nodiscard]] QStringList otherErrors() const { return split().second; }

private:
    [[nodiscard]] std::pair<QStringList, QStringList> split() const
    {
        std::pair<QStringList, QStringList> result;
        for (const QString& line : QString::fromUtf8(errors).split(u'\n', Qt::SkipEmptyParts)) {
            // "[2026-01-31T09:15:02Z] " comes first.
            constexpr qsizetype kStampLength = 23;
            const bool isLog =
                line.size() > kStampLength && line.at(0) == u'[' && line.at(kStampLength - 2) == u']';
            if (isLog)
                result.first.append(line.sliced(kStampLength));
            else
                result.second.append(line);
        }
        return result;
    }
};

/// The program itself, in a home of its own, without a display, against the practice service.
class AskTest : public testing::Test {
protected:
    static inline const QString kKey = QStringLiteral("dummy-key-of-this-test");
    static constexpr int kPatienceMilliseconds = 20'000;

    AskTest()
    {
        environment.insert(QStringLiteral("PATH"), qEnvironmentVariable("PATH"));
        environment.insert(QStringLiteral("LANG"), QStringLiteral("C.UTF-8"));
        for (const char* name :
             {"HOME", "XDG_CONFIG_HOME", "XDG_RUNTIME_DIR", "XDG_CACHE_HOME", "XDG_DATA_HOME"})
            environment.insert(QString::fromLatin1(name), home.path());
        environment.insert(QStringLiteral("ANTHROPIC_API_KEY"), kKey);
        environment.insert(QStringLiteral("OPENAI_API_KEY"), kKey);
        // Whoever runs the tests may have set these for a sanitizer.
        for (const char* name : {"ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"}) {
            if (qEnvironmentVariableIsSet(name))
                environment.insert(QString::fromLatin1(name), qEnvironmentVariable(name));
        }
    }

    void SetUp() override
    {
        ASSERT_TRUE(home.isValid());
        ASSERT_NE(server.start(), 0) << server.errorString().toStdString();
        server.setScenario({.kind = practice::ScenarioKind::Pieces});
        environment.insert(QStringLiteral("ANTHROPIC_BASE_URL"), server.baseUrl());
        environment.insert(QStringLiteral("OPENAI_BASE_URL"), server.baseUrl() + QStringLiteral("/v1"));
    }

    void prepare(QProcess& process, const QStringList& arguments) const
    {
        process.setProcessEnvironment(environment);
        process.setProgram(QStringLiteral(VELMO_EXECUTABLE));
        process.setArguments(QStringList{QStringLiteral("ask")} + arguments);
    }

    /// Waits for the end. The key must be in neither stream, whatever happened.
    static AskResult finish(QProcess& process)
    {
        EXPECT_TRUE(process.waitForFinished(kPatienceMilliseconds)) << process.errorString().toStdString();
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        AskResult result{process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
        EXPECT_FALSE(result.errors.contains(kKey.toUtf8())) << "the key was shown";
        return result;
    }

    AskResult ask(const QStringList& arguments, const QByteArray& input = {}) const
    {
        QProcess process;
        prepare(process, arguments);
        process.start();
        process.write(input);
        process.closeWriteChannel();
        return finish(process);
    }

    QString writeFile(const QString& name, const QByteArray& bytes) const
    {
        QFile file(home.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return file.fileName();
    }

    [[nodiscard]] QJsonObject sentBody() const
    {
        const auto requests = server.requests();
        EXPECT_EQ(requests.size(), 1);
        return requests.isEmpty() ? QJsonObject() : QJsonDocument::fromJson(requests.first().body).object();
    }

    [[nodiscard]] static QByteArray allPieces()
    {
        return practice::PracticeServer::defaultPieces().join(QString()).toUtf8();
    }

    QTemporaryDir home;
    QProcessEnvironment environment;
    practice::PracticeServer server;
};

} // namespace velmo
