#include "core/async/TaskContext.h"

#include "core/async/MainLoop.h"

#include <utility>

namespace velmo::async {

void TaskContext::cancel()
{
    if (std::exchange(cancelled_, true) || destroyed_)
        return;
    if (!wait_)
        return;
    // The wait object stays in the frame until the task resumes, but its source must not wake it as well.
    Wait* wait = wait_;
    wait->endWait();
    resumeLater(wait->handle_);
}

void TaskContext::destroy()
{
    destroyed_ = true;
    if (running_)
        return;
    if (const auto root = std::exchange(root_, nullptr))
        root.destroy();
}

void TaskContext::resume(std::coroutine_handle<> point)
{
    if (destroyed_)
        return;
    const auto keepAlive = shared_from_this();
    running_ = true;
    point.resume();
    running_ = false;
    // A finished frame still holds its parameters, pictures among them, so it does not wait for its owner's
    // end.
    if (destroyed_ || root_.done())
        destroy();
}

void TaskContext::resumeLater(std::coroutine_handle<> point)
{
    postToMainLoop([weak = weak_from_this(), point] {
        if (const auto context = weak.lock())
            context->resume(point);
    });
}

bool Wait::beginWait(std::coroutine_handle<> handle, TaskContext& context)
{
    context_ = &context;
    handle_ = handle;
    if (context.isCancelled())
        return false;
    armed_ = arm();
    if (armed_)
        context.wait_ = this;
    return armed_;
}

void Wait::endWait()
{
    if (context_ && context_->wait_ == this)
        context_->wait_ = nullptr;
    if (std::exchange(armed_, false))
        disarm();
}

void Wait::wake()
{
    // Resuming ends this object, so everything needed comes first.
    TaskContext* context = context_;
    const auto handle = handle_;
    endWait();
    context->resume(handle);
}

void Wait::throwIfCancelled() const
{
    if (context_ && context_->isCancelled())
        throw Cancelled{};
}

} // namespace velmo::async
