// The whole way of a picture in a process of its own, with the program's own parts: connect, prepare, capture
// the first display, write the PNG to the file that is named. For comparing with other programs' commands.

#include "capture/ScreenCaptureService.h"
#include "core/Console.h"
#include "core/DebugLog.h"
#include "core/async/TaskScope.h"
#include "core/async/WorkerPool.h"
#include "platform/x11/X11DisplayCapture.h"

#include <QCoreApplication>
#include <QFile>

namespace {

velmo::async::Task<> writePicture(velmo::ScreenCaptureService* service, QString path)
{
    const auto png = co_await service->captureWithAnnotations(std::nullopt, QImage());
    QFile file(path);
    const bool written =
        png && file.open(QIODevice::WriteOnly) && file.write(png.value()) == png.value().size();
    QCoreApplication::exit(written ? 0 : 1);
}

} // namespace

int main(int argc, char** argv)
{
    using namespace velmo;
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 2)
        return 2;
    Console::setStream(Console::Stream::StandardError);
    DebugLog::setLogFile(arguments.at(1) + QStringLiteral(".log"));
    X11DisplayCapture displays;
    displays.prepare();
    ScreenCaptureService service(displays);
    async::TaskScope scope;
    scope.start(writePicture(&service, arguments.at(1)));
    const int status = QCoreApplication::exec();
    displays.release();
    DebugLog::flush();
    return status;
}
