#include "support/practice/Reply.h"

namespace velmo::practice {

Reply replyOf(const QList<Step>& steps)
{
    return [steps, next = qsizetype{0}]() mutable {
        return next < steps.size() ? steps.at(next++) : Step::finish();
    };
}

} // namespace velmo::practice
