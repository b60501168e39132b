#pragma once

#include "support/core/Environment.h"
#include "support/x11/ChildProcess.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <memory>
#include <vector>

namespace velmo::test {

/// A sound server of the test's own, with speakers that nobody hears. Programs that are started while it
/// exists, and this one, find it and no other. It is gone with this object. Main thread.
class SoundServer {
public:
    enum class Kind { PulseAudio, PipeWire };
    /// What was played into the microphone sounds there.
    static constexpr const char* kMicrophoneSink = "voice";
    static constexpr const char* kMicrophone = "microphone";
    static constexpr const char* kSpeakers = "speakers";

    explicit SoundServer(Kind kind);
    SoundServer(const SoundServer&) = delete;
    SoundServer& operator=(const SoundServer&) = delete;
    ~SoundServer();

    /// It answers, and has speakers.
    [[nodiscard]] bool isReady() const { return isReady_; }

    /// The default source from then on. False if that fails.
    [[nodiscard]] bool plugMicrophone();
    [[nodiscard]] bool unplugMicrophone();
    [[nodiscard]] bool removeSpeakers();
    [[nodiscard]] bool makeDefaultSource(const QString& name);
    [[nodiscard]] QString defaultSource() const;
    /// Tries to move what records elsewhere, as the desktop's volume control can. Servers may refuse it.
    void moveRecordings(const QString& source) const;
    /// How many of the product's streams record from it.
    [[nodiscard]] qsizetype recordingCount() const;
    /// How many connections the product has to it.
    [[nodiscard]] qsizetype clientCount() const;

    /// It does nothing more until resume().
    void halt();
    void resume();
    /// Without a chance to say farewell.
    void kill();

private:
    void startPulseAudio();
    void startPipeWire();
    void start(const QList<QByteArray>& command);
    QString ask(const QStringList& request) const;
    QString loadModule(const QStringList& module) const;
    QString loadSink(const char* name) const;
    [[nodiscard]] bool hasSource(const QString& name) const;
    [[nodiscard]] QByteArray inFolder(const char* name) const;

    const Kind kind_;
    QTemporaryDir folder_;
    std::vector<std::unique_ptr<EnvironmentVariable>> environment_;
    std::vector<ChildProcess> processes_; ///< The last one is what clients speak to.
    bool isReady_ = false;
    QString speakers_;
    QString microphone_;
};

} // namespace velmo::test
