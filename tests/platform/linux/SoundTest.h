#pragma once

#include "platform/linux/PulseRecorders.h"
#include "support/core/EventLoop.h"
#include "support/sound/DecodedSound.h"
#include "support/sound/SoundPlayer.h"
#include "support/sound/SoundServer.h"

#include <QDir>
#include <QTemporaryDir>
#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <optional>

namespace velmo::test {

/// A recording and what became of it.
struct Take {
    std::unique_ptr<AudioRecorder> recorder;
    std::optional<PlatformError> startFailure;
    int startFailures = 0;
    std::optional<PlatformError> error;
    int ends = 0;

    void stop()
    {
        recorder->stop([this](std::optional<PlatformError> reason) {
            error = std::move(reason);
            ++ends;
        });
    }
    /// False if the end does not come.
    [[nodiscard]] bool finish()
    {
        stop();
        return turnUntil([this] { return ends > 0; });
    }
    /// Nothing if all is well.
    [[nodiscard]] std::string errorText() const
    {
        return error ? error->description.toStdString() : std::string();
    }
    [[nodiscard]] std::string startFailureText() const
    {
        return startFailure ? startFailure->description.toStdString() : std::string();
    }
};

class SoundTest : public testing::Test {
protected:
    [[nodiscard]] QString path(const QString& name = QStringLiteral("take.m4a")) const
    {
        return folder_.filePath(name);
    }
    [[nodiscard]] bool isFolderEmpty() const
    {
        return QDir(folder_.path())
            .isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

    std::unique_ptr<Take> record(const QString& file)
    {
        auto take = std::make_unique<Take>();
        auto made = recorders_->record(file, {}, [take = take.get()](const PlatformError& failure) {
            take->startFailure = failure;
            ++take->startFailures;
        });
        if (made)
            take->recorder = std::move(made.value());
        return take;
    }
    std::unique_ptr<Take> record() { return record(path()); }

    /// One that is certain to have sound.
    std::unique_ptr<Take> recordUntilSound(const QString& file)
    {
        const int before = firstSounds_;
        auto take = record(file);
        EXPECT_TRUE(turnUntil([&] { return firstSounds_ > before || take->startFailure; }));
        EXPECT_EQ(take->startFailureText(), "");
        return take;
    }
    std::unique_ptr<Take> recordUntilSound() { return recordUntilSound(path()); }

    QTemporaryDir folder_;
    std::atomic<int> firstSounds_ = 0;
    std::unique_ptr<PulseRecorders> recorders_ =
        std::make_unique<PulseRecorders>([this](Clock::TimePoint) { ++firstSounds_; });
};

class ServerSoundTest : public SoundTest, public testing::WithParamInterface<SoundServer::Kind> {
protected:
    ServerSoundTest() { EXPECT_TRUE(server_.isReady()); }

    SoundServer server_{GetParam()};
};

inline const auto kSoundServers = testing::Values(SoundServer::Kind::PulseAudio, SoundServer::Kind::PipeWire);

inline std::string soundServerName(const testing::TestParamInfo<SoundServer::Kind>& info)
{
    return info.param == SoundServer::Kind::PulseAudio ? "PulseAudio" : "PipeWire";
}

} // namespace velmo::test
