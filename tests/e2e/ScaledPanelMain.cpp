#include "support/x11/X11TestMain.h"

/// The scale is fixed when the application starts, so each is an executable.
int main(int argc, char** argv)
{
    qputenv("QT_SCALE_FACTOR", VELMO_TEST_SCALE);
    return velmo::test::runX11Tests(argc, argv);
}
