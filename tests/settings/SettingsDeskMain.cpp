#include "support/accessibility/PrivateBuses.h"
#include "support/x11/X11TestMain.h"

#include <cstdio>
#include <gmock/gmock.h>

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    if (GTEST_FLAG_GET(list_tests))
        return RUN_ALL_TESTS();
    velmo::test::PrivateBuses buses;
    if (!buses.startAccessibility()) {
        std::fputs("The buses did not start.\n", stderr);
        return 1;
    }
    // The toolkit tells of changes only where somebody may listen, and looks once, when the application
    // begins.
    qputenv("DBUS_SESSION_BUS_ADDRESS", buses.sessionAddress());
    qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    velmo::test::VirtualDisplay::Options options;
    options.sessionAddress = buses.sessionAddress();
    return velmo::test::runX11Tests(argc, argv, options);
}
