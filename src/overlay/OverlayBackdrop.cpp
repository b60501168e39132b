#include "overlay/OverlayBackdrop.h"

#include "core/async/WorkerPool.h"

#include <utility>

namespace velmo {

OverlayBackdrop::OverlayBackdrop(DisplayCapture& capture, const WindowSurfaces& windows,
                                 std::vector<Target> targets)
    : capture_(capture)
    , windows_(windows)
    , targets_(std::move(targets))
{
    // The first look shows what the desktop did while our windows came, without any of them.
    capture_.setChangeHandler([this] { follow(); });
    follow();
}

OverlayBackdrop::~OverlayBackdrop()
{
    capture_.setChangeHandler({});
}

void OverlayBackdrop::follow()
{
    isOutdated_ = true;
    if (!std::exchange(isRefreshing_, true))
        tasks_.start(refresh());
}

async::Task<> OverlayBackdrop::refresh()
{
    while (std::exchange(isOutdated_, false)) {
        const bool isComposited = windows_.isComposited();
        for (const Target& target : targets_) {
            if (isComposited) {
                target.show(QPixmap());
                continue;
            }
            auto work = [&capture = capture_, id = target.displayID] {
                return capture.captureDisplay(id, CaptureMoment::Now);
            };
            const auto picture = co_await async::onWorker(std::move(work));
            // Without one, what was shown before stays: it is the desktop still, if an older one.
            if (picture)
                target.show(QPixmap::fromImage(picture.value()));
        }
    }
    isRefreshing_ = false;
}

} // namespace velmo
