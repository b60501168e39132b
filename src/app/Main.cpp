#include "app/CommandLine.h"

int main(int argc, char** argv)
{
    return velmo::runCommandLine(argc, argv);
}
