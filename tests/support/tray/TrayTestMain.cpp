#include "support/tray/TrayTestMain.h"

#include "support/x11/X11TestMain.h"

#include <gmock/gmock.h>

namespace velmo::test {
namespace {

PrivateBuses* theBuses = nullptr;

} // namespace

PrivateBuses& buses()
{
    return *theBuses;
}

int runTrayTests(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    if (GTEST_FLAG_GET(list_tests))
        return RUN_ALL_TESTS();
    PrivateBuses privateBuses;
    theBuses = &privateBuses;
    VirtualDisplay::Options options;
    options.sessionAddress = privateBuses.sessionAddress();
    return runX11Tests(argc, argv, options);
}

} // namespace velmo::test
