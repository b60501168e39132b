#include "core/async/TaskScope.h"

#include <QCoreApplication>

namespace velmo::async {

TaskScope::~TaskScope()
{
    for (const auto& context : std::exchange(tasks_, {}))
        context->destroy();
}

bool TaskScope::isFinished(const TaskContext& context)
{
    return !context.root_ || context.root_.done();
}

bool TaskScope::isBusy() const
{
    for (const auto& context : tasks_) {
        if (!isFinished(*context))
            return true;
    }
    return false;
}

void TaskScope::adopt(Root root, const std::shared_ptr<TaskContext>& context)
{
    // Finished frames are kept until here, since a frame cannot destroy itself while it runs.
    std::erase_if(tasks_, [](const auto& task) {
        if (!isFinished(*task) || task->running_)
            return false;
        task->destroy();
        return true;
    });
    root.handle.promise().context = context.get();
    context->setRoot(root.handle);
    tasks_.push_back(context);
    context->resumeLater(root.handle);
}

TaskScope& detachedTasks()
{
    static std::unique_ptr<TaskScope> scope;
    if (!scope) {
        scope = std::make_unique<TaskScope>();
        qAddPostRoutine([] { scope.reset(); });
    }
    return *scope;
}

} // namespace velmo::async
