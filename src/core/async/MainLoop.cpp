#include "core/async/MainLoop.h"

#include <QCoreApplication>

namespace velmo::async {

void postToMainLoop(std::function<void()> function)
{
    if (QCoreApplication* application = QCoreApplication::instance())
        QMetaObject::invokeMethod(application, std::move(function), Qt::QueuedConnection);
}

} // namespace velmo::async
