#include "support/x11/X11TestMain.h"

/// The toolkit finds screens when it starts, so a low one is an executable.
int main(int argc, char** argv)
{
    velmo::test::VirtualDisplay::Options options;
    options.screen = "1024x600x24";
    return velmo::test::runX11Tests(argc, argv, options);
}
