#include "support/core/ConsoleChild.h"

#include <QGuiApplication>
#include <gmock/gmock.h>

int main(int argc, char** argv)
{
    // What depends on the process's own standard output runs in a process of its own: this program once more.
    if (const auto status = velmo::runAsConsoleChild(argc, argv))
        return *status;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
