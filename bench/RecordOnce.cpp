// Records from the default microphone with the toolkit's own recorder, as an application would that has
// everything ready before the press. Prints the monotonic moment of the press, and how long it held the main
// thread up, in nanoseconds.

#include <QAudioDevice>
#include <QAudioInput>
#include <QGuiApplication>
#include <QMediaCaptureSession>
#include <QMediaDevices>
#include <QMediaFormat>
#include <QMediaRecorder>
#include <QTimer>
#include <QUrl>
#include <chrono>
#include <cstdio>

int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3)
        return 2;
    QAudioInput input(QMediaDevices::defaultAudioInput());
    QMediaRecorder recorder;
    QMediaCaptureSession session;
    session.setAudioInput(&input);
    session.setRecorder(&recorder);
    QMediaFormat format(QMediaFormat::Mpeg4Audio);
    format.setAudioCodec(QMediaFormat::AudioCodec::AAC);
    recorder.setMediaFormat(format);
    recorder.setAudioChannelCount(1);
    recorder.setAudioSampleRate(44100);
    recorder.setOutputLocation(QUrl::fromLocalFile(arguments[1]));
    QObject::connect(&recorder, &QMediaRecorder::errorOccurred, &recorder, [] { QCoreApplication::exit(1); });
    QObject::connect(&recorder, &QMediaRecorder::recorderStateChanged, &recorder,
                     [](QMediaRecorder::RecorderState state) {
                         if (state == QMediaRecorder::StoppedState)
                             QCoreApplication::exit(0);
                     });
    // Until then it finds its devices.
    constexpr std::chrono::milliseconds kWarmUp{700};
    QTimer::singleShot(kWarmUp, &recorder, [&] {
        const auto count = [](std::chrono::nanoseconds time) { return static_cast<long long>(time.count()); };
        const auto pressed = std::chrono::steady_clock::now();
        recorder.record();
        const auto held = std::chrono::steady_clock::now() - pressed;
        std::printf("%lld %lld\n", count(pressed.time_since_epoch()), count(held));
        std::fflush(stdout);
        QTimer::singleShot(arguments[2].toInt(), &recorder, &QMediaRecorder::stop);
    });
    return QGuiApplication::exec();
}
