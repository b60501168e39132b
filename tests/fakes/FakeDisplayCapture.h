#pragma once

#include "platform/DisplayCapture.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace velmo {

/// Displays with given pictures. It remembers what it was asked, on whatever thread, and can make captures
/// wait for one another.
class FakeDisplayCapture final : public DisplayCapture {
public:
    struct Request {
        quint32 displayID;
        CaptureMoment moment;
        std::thread::id thread;
    };

    /// Waits for captures that nobody waits for any more.
    ~FakeDisplayCapture() override
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return ended_ == requests_.size(); });
    }

    /// In points, and in native pixels.
    void addDisplay(quint32 id, QSize pointSize, const QImage& picture)
    {
        content.displays.push_back({id, pointSize.width(), pointSize.height()});
        pictures[id] = picture;
    }

    /// Shows something else from now on.
    void setPicture(quint32 id, const QImage& picture)
    {
        const std::lock_guard lock(mutex_);
        pictures[id] = picture;
    }

    void prepare() override { ++prepared; }
    void release() override { ++released; }
    void freeze(std::optional<quint32> id) override { frozen.push_back(id); }
    void setChangeHandler(std::function<void()> handler) override { onChange = std::move(handler); }

    Result<ShareableContent, PlatformError> shareableContent() override
    {
        if (contentError)
            return Failure{*contentError};
        return content;
    }

    Result<QImage, PlatformError> captureDisplay(quint32 id, CaptureMoment moment) override
    {
        std::unique_lock lock(mutex_);
        requests_.push_back({id, moment, std::this_thread::get_id()});
        changed_.notify_all();
        const bool inTime = changed_.wait_for(lock, std::chrono::seconds(10),
                                              [this] { return requests_.size() >= awaitedRequests; });
        ++ended_;
        changed_.notify_all();
        if (!inTime)
            return Failure{
                PlatformError{PlatformError::Kind::Failed, QStringLiteral("no other capture began")}};
        if (captureError)
            return Failure{*captureError};
        return pictures.at(id);
    }

    /// The captures that began, in order.
    [[nodiscard]] std::vector<Request> requests() const
    {
        const std::lock_guard lock(mutex_);
        return requests_;
    }

    // What it answers. To be set before the first capture.
    ShareableContent content;
    std::map<quint32, QImage> pictures;
    std::optional<PlatformError> contentError;
    std::optional<PlatformError> captureError;
    size_t awaitedRequests = 0; ///< No capture ends before so many have begun.

    int prepared = 0;
    int released = 0;
    std::vector<std::optional<quint32>> frozen;
    std::function<void()> onChange;

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Request> requests_;
    size_t ended_ = 0;
};

} // namespace velmo
