#include <QCoreApplication>
#include <csignal>
#include <gmock/gmock.h>

int main(int argc, char** argv)
{
    // A file that may not grow is an error like any other then, instead of the end of the process.
    std::signal(SIGXFSZ, SIG_IGN);
    const QCoreApplication application(argc, argv);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
