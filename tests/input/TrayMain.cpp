#include "support/tray/TrayTestMain.h"

int main(int argc, char** argv)
{
    return velmo::test::runTrayTests(argc, argv);
}
