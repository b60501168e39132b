#include "support/x11/X11TestMain.h"

#include <QByteArray>

/// The monitors' scales are fixed when the application starts, so each pair of them is an executable: the
/// western one's scale, the eastern one's, and "xorg" for the server of real desktops.
int main(int argc, char** argv)
{
    const QByteArrayList words = QByteArray(VELMO_TEST_SCALES).split(',');
    qputenv("VELMO_TEST_SCALES", words.at(0) + ',' + words.at(1));
    qputenv("QT_SCREEN_SCALE_FACTORS", "west=" + words.at(0) + ";east=" + words.at(1));
    velmo::test::VirtualDisplay::Options options;
    if (words.value(2) == "xorg")
        options.server = velmo::test::VirtualDisplay::Server::Dummy;
    return velmo::test::runX11Tests(argc, argv, options);
}
