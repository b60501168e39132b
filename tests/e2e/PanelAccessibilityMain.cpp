#include "PanelAccessibilityDesk.h"

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

} // namespace velmo::test

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    if (GTEST_FLAG_GET(list_tests))
        return RUN_ALL_TESTS();
    const velmo::test::VirtualDisplay display;
    velmo::test::PrivateBuses buses;
    if (display.name().isEmpty() || !buses.startAccessibility()) {
        std::fputs("The virtual display or the buses did not start.\n", stderr);
        return 1;
    }
    velmo::test::theBuses = &buses;
    // The toolkit looks for both once, when the application begins.
    qputenv("DBUS_SESSION_BUS_ADDRESS", buses.sessionAddress());
    qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    qputenv("QT_QPA_PLATFORM", "xcb");
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
