#pragma once

#include "core/async/MainLoop.h"
#include "platform/AudioRecorder.h"

#include <QByteArray>
#include <QFile>
#include <QStringList>
#include <algorithm>
#include <vector>

namespace velmo {

/// A microphone that says what the test puts into it. Like the real one it answers on later turns of the main
/// loop, not at all once the recorder is gone, and a recording's file goes with its recorder. Whatever it
/// gave out must be gone before it.
class FakeAudioRecorders final : public AudioRecorders {
public:
    /// One call of record() that was not refused. It stays here after its recorder is gone.
    struct Recording {
        QString path;
        AudioRecorderSettings settings;
        bool isStopped = false;
        bool isDestroyed = false;
        bool isLost = false; ///< Somebody else removes the file before it can be read.
        QByteArray sound;    ///< What the file holds from the stop on.
        std::optional<PlatformError> error;
        StartFailureHandler onStartFailure;
        AudioRecorder::EndHandler onEnd;

        /// Somebody holds the recorder and has not asked it to stop.
        [[nodiscard]] bool isRunning() const { return !isStopped && !isDestroyed; }
    };

    [[nodiscard]] static PlatformError failure(const QString& description)
    {
        return {PlatformError::Kind::Failed, description};
    }

    [[nodiscard]] std::shared_ptr<void> keepReady() override
    {
        ++readinessRequests;
        auto token = std::make_shared<int>(0);
        readiness_.push_back(token);
        return token;
    }

    [[nodiscard]] Result<std::unique_ptr<AudioRecorder>, PlatformError>
    record(const QString& path, const AudioRecorderSettings& settings,
           StartFailureHandler onStartFailure) override
    {
        requestedPaths.append(path);
        if (refusal)
            return Failure{*refusal};
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
            return Failure{failure(file.errorString())};
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        const auto recording = std::make_shared<Recording>();
        recording->path = path;
        recording->settings = settings;
        recording->sound = sound;
        recording->isLost = losesFiles;
        recording->onStartFailure = std::move(onStartFailure);
        recordings.push_back(recording);
        if (startFailure)
            failStart(recordings.size() - 1, *startFailure);
        return std::unique_ptr<AudioRecorder>(std::make_unique<Recorder>(*this, recording));
    }

    /// What prevents the first sample shows now, as late as the test likes. There is no file then.
    void failStart(size_t recording, const PlatformError& error)
    {
        const auto& failed = recordings.at(recording);
        failed->error = error;
        QFile::remove(failed->path);
        async::postToMainLoop([failed, error] {
            if (failed->isDestroyed || !failed->onStartFailure)
                return;
            // It may destroy the recorder.
            const auto onStartFailure = std::exchange(failed->onStartFailure, nullptr);
            onStartFailure(error);
        });
    }

    /// With answersStopAtOnce off: the recording that was stopped is complete now, or has failed with its
    /// error.
    void finishStop(size_t recording) { finish(recordings.at(recording)); }

    [[nodiscard]] qsizetype readinessAlive() const
    {
        return std::count_if(readiness_.begin(), readiness_.end(),
                             [](const std::weak_ptr<int>& token) { return !token.expired(); });
    }
    /// Recorders that somebody still holds, stopped or not.
    [[nodiscard]] qsizetype recordersAlive() const
    {
        return std::count_if(recordings.begin(), recordings.end(),
                             [](const auto& recording) { return !recording->isDestroyed; });
    }

    // What it does with the recordings from now on.
    QByteArray sound = "sound";
    std::optional<PlatformError> refusal;      ///< No recorder can be created.
    std::optional<PlatformError> startFailure; ///< Created recorders fail soon, before the first sample.
    std::optional<PlatformError> stopError;    ///< Stopping finds out that there is no usable file.
    bool losesFiles = false;                   ///< Complete files vanish before they can be read.
    bool answersStopAtOnce = true;             ///< On the next turn; else with finishStop().

    // What it was asked.
    QStringList requestedPaths; ///< Those of refused requests, too.
    std::vector<std::shared_ptr<Recording>> recordings;
    int readinessRequests = 0;

private:
    static void finish(const std::shared_ptr<Recording>& recording)
    {
        async::postToMainLoop([recording] {
            if (recording->isDestroyed || !recording->onEnd)
                return;
            if (!recording->error) {
                QFile file(recording->path);
                if (!file.open(QIODevice::WriteOnly) || file.write(recording->sound) < 0)
                    recording->error = failure(file.errorString());
                if (recording->isLost)
                    file.remove();
            }
            // It may destroy the recorder.
            const auto onEnd = std::exchange(recording->onEnd, nullptr);
            onEnd(recording->error);
        });
    }

    class Recorder final : public AudioRecorder {
    public:
        Recorder(FakeAudioRecorders& owner, std::shared_ptr<Recording> recording)
            : owner_(owner)
            , recording_(std::move(recording))
        {}
        Recorder(const Recorder&) = delete;
        Recorder& operator=(const Recorder&) = delete;
        ~Recorder() override
        {
            recording_->isDestroyed = true;
            recording_->onStartFailure = nullptr;
            recording_->onEnd = nullptr;
            QFile::remove(recording_->path);
        }
        void stop(EndHandler onEnd) override
        {
            recording_->isStopped = true;
            recording_->onEnd = std::move(onEnd);
            if (!recording_->error)
                recording_->error = owner_.stopError;
            if (owner_.answersStopAtOnce)
                finish(recording_);
        }

    private:
        FakeAudioRecorders& owner_;
        std::shared_ptr<Recording> recording_;
    };

    std::vector<std::weak_ptr<int>> readiness_;
};

} // namespace velmo
