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
    std::erase_if(tasks_, [](const auto& task) { return isFinished(*task); });
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
