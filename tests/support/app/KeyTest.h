#pragma once

#include "support/core/Printing.h"
#include "support/keyring/PrivateKeyring.h"

#include <QFile>
#include <QProcess>
#include <gmock/gmock.h>

namespace velmo {

/// What "velmo key" left behind.
struct KeyResult {
    int exitCode = -1;
    QByteArray output;
    QByteArray errors;
};

/// "velmo key" with a keyring of the test's own, without a display.
class KeyTest : public testing::Test {
protected:
    static inline const QByteArray kKey = "sk-dummy-key-of-the-key-tests";
    static constexpr int kPatienceMilliseconds = 20'000;

    KeyTest()
    {
        // Whoever runs the tests may have set these for a sanitizer.
        for (const char* name : {"ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"}) {
            if (qEnvironmentVariableIsSet(name))
                environment.insert(QString::fromLatin1(name), qEnvironmentVariable(name));
        }
    }

    void prepare(QProcess& process, const QStringList& arguments) const
    {
        process.setProcessEnvironment(environment);
        process.setProgram(QStringLiteral(VELMO_EXECUTABLE));
        process.setArguments(QStringList{QStringLiteral("key")} + arguments);
    }

    /// Waits for the end. The key must have been told to nobody, whatever happened.
    static KeyResult finish(QProcess& process)
    {
        EXPECT_TRUE(process.waitForFinished(kPatienceMilliseconds)) << process.errorString().toStdString();
        KeyResult result{process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
        EXPECT_FALSE(result.output.contains(kKey)) << "the key was shown";
        EXPECT_FALSE(result.errors.contains(kKey)) << "the key was shown";
        QFile log(QStringLiteral("/tmp/velmo.log"));
        if (log.exists()) {
            EXPECT_TRUE(log.open(QIODevice::ReadOnly)) << "nobody can tell whether the key was logged";
            EXPECT_FALSE(log.readAll().contains(kKey)) << "the key was logged";
        }
        return result;
    }

    KeyResult run(const QStringList& arguments, const QByteArray& input = {}) const
    {
        QProcess process;
        prepare(process, arguments);
        process.start();
        process.write(input);
        process.closeWriteChannel();
        return finish(process);
    }

    KeyResult set(const QByteArray& input, const QString& name = QStringLiteral("anthropic")) const
    {
        return run({QStringLiteral("set"), name}, input);
    }
    QByteArray status() const
    {
        const KeyResult result = run({QStringLiteral("status")});
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.errors, "");
        return result.output;
    }

    /// What the keyring holds for an account; nothing when it holds none.
    std::optional<QByteArray> stored(const QString& account = QStringLiteral("apiKey.anthropic"))
    {
        const auto result =
            keyring.secretTool({QStringLiteral("lookup"), QStringLiteral("service"),
                                QStringLiteral("app.velmo.Velmo"), QStringLiteral("account"), account});
        return result.exitCode == 0 ? std::optional(result.output) : std::nullopt;
    }

    test::PrivateKeyring keyring;
    QProcessEnvironment environment = keyring.environment();
};

} // namespace velmo
