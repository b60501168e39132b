#include "support/x11/X11TestMain.h"

#include <QByteArray>

/// The monitors' scales are fixed when the application starts, so each pair of them is an executable.
int main(int argc, char** argv)
{
    const QByteArray scales(VELMO_TEST_SCALES);
    const auto comma = scales.indexOf(',');
    qputenv("VELMO_TEST_SCALES", scales);
    qputenv("QT_SCREEN_SCALE_FACTORS", "west=" + scales.first(comma) + ";east=" + scales.sliced(comma + 1));
    return velmo::test::runX11Tests(argc, argv);
}
