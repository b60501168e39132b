#include "support/x11/X11TestMain.h"

int main(int argc, char** argv)
{
    return velmo::test::runX11Tests(argc, argv);
}
