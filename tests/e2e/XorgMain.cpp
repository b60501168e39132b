#include "support/x11/X11TestMain.h"

/// The same desktop on the server that real ones run on.
int main(int argc, char** argv)
{
    velmo::test::VirtualDisplay::Options options;
    options.server = velmo::test::VirtualDisplay::Server::Dummy;
    return velmo::test::runX11Tests(argc, argv, options);
}
