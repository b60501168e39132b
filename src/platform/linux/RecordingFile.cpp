#include "platform/linux/RecordingFile.h"

#include "core/async/MainLoop.h"

#include <utility>

namespace velmo {

RecordingFile::RecordingFile(async::SerialQueue& queue, std::weak_ptr<Listener> listener)
    : queue_(queue)
    , listener_(std::move(listener))
{}

void RecordingFile::run(std::function<void(RecordingFile&)> function)
{
    queue_.async([self = shared_from_this(), function = std::move(function)] { function(*self); });
}

void RecordingFile::create(const QString& path, const AudioRecorderSettings& settings,
                           std::function<void()> onUseless)
{
    run([path, settings, onUseless = std::move(onUseless)](RecordingFile& self) {
        self.onUseless_ = onUseless;
        auto created = AacFile::create(path, settings);
        if (created) {
            self.file_ = std::move(created.value());
            return;
        }
        self.noteStartFailure(created.error());
        self.noteUseless();
    });
}

void RecordingFile::append(std::vector<float> samples)
{
    run([samples = std::move(samples)](RecordingFile& self) {
        self.fillWith([&samples](AacFile& file) { file.append(samples); });
    });
}

void RecordingFile::appendSilence(size_t count)
{
    run([count](RecordingFile& self) {
        self.fillWith([count](AacFile& file) { file.appendSilence(count); });
    });
}

void RecordingFile::fillWith(const std::function<void(AacFile&)>& sound)
{
    if (!file_ || file_->error())
        return;
    sound(*file_);
    hasSound_ = true;
    if (file_->error())
        noteUseless();
}

void RecordingFile::fail(PlatformError error)
{
    run([error = std::move(error)](RecordingFile& self) { self.noteStartFailure(error); });
}

void RecordingFile::noteStartFailure(const PlatformError& error)
{
    if (startFailure_)
        return;
    startFailure_ = error;
    async::postToMainLoop([weak = listener_, error] {
        const auto listener = weak.lock();
        if (const auto onStartFailure = listener ? listener->onStartFailure : nullptr)
            onStartFailure(error);
    });
}

void RecordingFile::noteUseless()
{
    if (const auto onUseless = std::exchange(onUseless_, nullptr))
        onUseless();
}

void RecordingFile::finish()
{
    run([](RecordingFile& self) {
        std::optional<PlatformError> error = self.startFailure_;
        if (!error && !self.hasSound_)
            error = PlatformError{PlatformError::Kind::Failed, QStringLiteral("Nothing was recorded.")};
        if (!error && self.file_) {
            self.file_->finish();
            error = self.file_->error();
        }
        async::postToMainLoop([weak = self.listener_, error] {
            const auto listener = weak.lock();
            if (const auto onEnd = listener ? std::exchange(listener->onEnd, nullptr) : nullptr)
                onEnd(error);
        });
    });
}

void RecordingFile::discard()
{
    run([](RecordingFile& self) { self.file_.reset(); });
}

} // namespace velmo
