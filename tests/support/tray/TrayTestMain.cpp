#include "support/tray/TrayTestMain.h"

#include "support/x11/VirtualDisplay.h"

#include <QApplication>
#include <cstdio>
#include <gmock/gmock.h>

namespace velmo::test {
namespace {

PrivateBuses* theBuses = nullptr;

} // namespace

PrivateBuses& buses()
{
    return *theBuses;
}

int runTrayTests(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    if (GTEST_FLAG_GET(list_tests))
        return RUN_ALL_TESTS();
    const VirtualDisplay virtualDisplay;
    PrivateBuses privateBuses;
    if (virtualDisplay.name().isEmpty()) {
        std::fputs("The virtual display did not start.\n", stderr);
        return 1;
    }
    theBuses = &privateBuses;
    // The toolkit looks for the bus once, when the application begins.
    qputenv("DBUS_SESSION_BUS_ADDRESS", privateBuses.sessionAddress());
    qputenv("QT_QPA_PLATFORM", "xcb");
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}

} // namespace velmo::test
