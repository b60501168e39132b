#include "Benchmarks.h"
#include "EventFeeder.h"
#include "Limits.h"
#include "core/Console.h"
#include "core/DebugLog.h"
#include "core/async/WorkerPool.h"
#include "platform/linux/CurlHttpClient.h"
#include "providers/LLMTransport.h"
#include "support/x11/VirtualDisplay.h"

#include <QApplication>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>
#include <cstdio>

int main(int argc, char** argv)
{
    using namespace velmo;
    if (bench::EventFeeder::shared().port() == 0) {
        std::fputs("the stream's server could not be started\n", stderr);
        return 1;
    }
    const test::VirtualDisplay display;
    if (display.name().isEmpty()) {
        std::fputs("the display could not be started\n", stderr);
        return 1;
    }
    const QTemporaryDir folder;
    DebugLog::setLogFile(folder.filePath(QStringLiteral("velmo.log")));
    Console::setStream(Console::Stream::StandardError);
    // Windows are measured by what they paint; what needs a display uses one by itself.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    qunsetenv("QT_QPA_PLATFORM"); // The programs that are started show their windows.
    LLMTransport::installClient([] { return std::make_unique<CurlHttpClient>(); });
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    LLMTransport::shutDown();
    async::shutDownWorkers();
    bench::checkStreamLimits();
    bench::checkTapLimits();
    bench::checkCaptureLimits();
    bench::checkImageLimits();
    bench::checkDrawLimits();
    bench::checkOverlayLimits();
    bench::checkPanelLimits();
    bench::checkMarkdownLimits();
    bench::checkSoundLimits();
    bench::checkShellLimits();
    DebugLog::flush();
    return bench::Limits::shared().allKept() ? 0 : 1;
}
