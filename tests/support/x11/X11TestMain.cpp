#include "support/x11/X11TestMain.h"

#include <QApplication>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velmo::test {
namespace {

VirtualDisplay* theDisplay = nullptr;

} // namespace

VirtualDisplay& display()
{
    return *theDisplay;
}

int runX11Tests(int argc, char** argv, const VirtualDisplay::Options& options)
{
    testing::InitGoogleMock(&argc, argv);
    if (GTEST_FLAG_GET(list_tests))
        return RUN_ALL_TESTS();
    VirtualDisplay virtualDisplay(options);
    if (virtualDisplay.name().isEmpty()) {
        std::fputs("The virtual display did not start.\n", stderr);
        return 1;
    }
    theDisplay = &virtualDisplay;
    qputenv("QT_QPA_PLATFORM", "xcb");
    // The tests' own windows must be told apart by their connection alone, not by the program's name.
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}

} // namespace velmo::test
