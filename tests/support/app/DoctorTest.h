#pragma once

#include "support/app/FirstRun.h"
#include "support/tray/TrayTestMain.h"
#include "support/x11/Await.h"
#include "support/x11/X11TestMain.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <chrono>
#include <gmock/gmock.h>
#include <string>
#include <vector>

namespace velmo::test {

inline const QByteArray kKey = "sk-dummy-key-of-the-doctor-tests";
inline constexpr std::chrono::milliseconds kLongest{8000};

/// "velmo doctor" in several worlds. What is not named in a test is as the display's and the bus's are.
class DoctorProcess : public testing::Test {
protected:
    struct Result {
        int exitCode = -1;
        QByteArray output;
        QByteArray errors;
        std::chrono::milliseconds duration{0};
    };

    void SetUp() override
    {
        ASSERT_TRUE(display().startWindowManager());
        for (const char* name : {"XDG_CONFIG_HOME", "HOME"})
            environment_.insert(QString::fromLatin1(name), folder_.path());
        completeFirstRun(folder_.path());
        environment_.insert(QStringLiteral("ANTHROPIC_API_KEY"), QString::fromUtf8(kKey));
        for (const char* name : {"ANTHROPIC_BASE_URL", "OPENAI_API_KEY", "OPENAI_BASE_URL",
                                 "REPLICATE_API_TOKEN", "REPLICATE_BASE_URL", "VELMO_KEYRING"})
            environment_.remove(QString::fromLatin1(name));
        // Whoever runs the tests may have a sound server.
        environment_.insert(QStringLiteral("PULSE_SERVER"),
                            QStringLiteral("unix:") + folder_.filePath(QStringLiteral("none")));
    }
    void TearDown() override
    {
        program_.terminate();
        program_.waitForFinished();
        display().stopWindowManager();
    }

    Result run(const QStringList& options = {}) const
    {
        QProcess process;
        process.setProcessEnvironment(environment_);
        const auto begin = std::chrono::steady_clock::now();
        process.start(QStringLiteral(VELMO_EXECUTABLE), QStringList{QStringLiteral("doctor")} + options);
        EXPECT_TRUE(process.waitForFinished());
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        Result result{
            process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError(),
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin)};
        EXPECT_FALSE(result.output.contains(kKey)) << "the key was shown";
        EXPECT_FALSE(result.errors.contains(kKey)) << "the key was shown";
        return result;
    }

    void examine()
    {
        const Result result = run({QStringLiteral("--json")});
        report_ = QJsonDocument::fromJson(result.output).object();
        EXPECT_FALSE(report_[QStringLiteral("findings")].toArray().isEmpty()) << result.output.toStdString();
        ASSERT_TRUE(report_[QStringLiteral("works")].isBool());
        EXPECT_EQ(result.exitCode, works() ? 0 : 1);
        for (const char* area :
             {"Velmo", "Session", "Desktop", "Windows", "Compositor", "Display", "Gestures", "Capture",
              "Tray", "Keyring", "Keys", "Microphone", "Portals", "Servers", "Settings", "Log"})
            EXPECT_FALSE(findings(area).empty()) << area << " is missing";
        EXPECT_EQ(result.errors, "");
        duration_ = result.duration;
    }
    [[nodiscard]] bool works() const { return report_[QStringLiteral("works")].toBool(); }

    /// Everything about one area.
    [[nodiscard]] std::vector<QJsonObject> findings(const char* area) const
    {
        std::vector<QJsonObject> found;
        const QJsonArray all = report_[QStringLiteral("findings")].toArray();
        for (const auto& finding : all) {
            if (finding[QStringLiteral("area")].toString() == QString::fromLatin1(area))
                found.push_back(finding.toObject());
        }
        return found;
    }
    /// The first about one area.
    [[nodiscard]] std::string stateOf(const char* area) const { return valueOf(area, "state"); }
    [[nodiscard]] std::string textOf(const char* area) const { return valueOf(area, "text"); }
    [[nodiscard]] std::string valueOf(const char* area, const char* name) const
    {
        const auto found = findings(area);
        return found.empty() ? "" : found.front()[QString::fromLatin1(name)].toString().toStdString();
    }
    [[nodiscard]] QJsonObject detailsOf(const char* area) const
    {
        const auto found = findings(area);
        return found.empty() ? QJsonObject() : found.front()[QStringLiteral("details")].toObject();
    }

    void launchProgram()
    {
        program_.setProcessEnvironment(environment_);
        program_.start(QStringLiteral(VELMO_EXECUTABLE), {QStringLiteral("--background")});
        QByteArray output;
        ASSERT_TRUE(awaitCondition([&] {
            output += program_.readAllStandardOutput();
            return output.contains("[Platform] ready");
        }));
    }

    QTemporaryDir folder_;
    QProcessEnvironment environment_ = QProcessEnvironment::systemEnvironment();
    QProcess program_;
    QJsonObject report_;
    std::chrono::milliseconds duration_{0};
};

} // namespace velmo::test
