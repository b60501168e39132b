#include "support/x11/X11TestMain.h"

#include <QByteArray>

int main(int argc, char** argv)
{
    // The test's own toolkit looks for a session bus, too, and must not find the one of whoever runs it.
    qputenv("DBUS_SESSION_BUS_ADDRESS", QByteArrayLiteral("disabled:"));
    return velmo::test::runX11Tests(argc, argv);
}
