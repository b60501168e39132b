#include "app/CommandLine.h"
#include "platform/linux/FileDescriptor.h"

#include <QByteArray>
#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <thread>

namespace velmo {
namespace {

/// Standard output goes to another file while this is there.
class StandardOutput {
public:
    explicit StandardOutput(const FileDescriptor& file)
    {
        std::fflush(stdout);
        dup2(file.get(), STDOUT_FILENO);
    }
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;
    ~StandardOutput() { dup2(before_.get(), STDOUT_FILENO); }

private:
    const FileDescriptor before_{fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)};
};

TEST(PrintedTextTest, WaitsForASlowReaderOfANonBlockingPipe)
{
    // Far more than a pipe holds.
    const QString text(1'000'000, u'\u00e9');
    std::array<int, 2> pipe{};
    ASSERT_EQ(pipe2(pipe.data(), O_CLOEXEC), 0);
    const FileDescriptor readEnd(pipe[0]);
    FileDescriptor writeEnd(pipe[1]);
    ASSERT_EQ(fcntl(writeEnd.get(), F_SETFL, O_NONBLOCK), 0);
    QByteArray arrived;
    std::thread reader([&] {
        std::array<char, 4096> buffer{};
        for (ssize_t count = 0; (count = read(readEnd.get(), buffer.data(), buffer.size())) > 0;)
            arrived.append(buffer.data(), count);
    });
    bool isPrinted = false;
    {
        const StandardOutput output(writeEnd);
        writeEnd = FileDescriptor();
        isPrinted = printText(text);
    }
    reader.join();
    EXPECT_TRUE(isPrinted);
    EXPECT_EQ(arrived, text.toUtf8());
}

TEST(PrintedTextTest, SaysWhyNothingCanBeWritten)
{
    const FileDescriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    ASSERT_TRUE(full.isValid());
    bool isPrinted = true;
    int reason = 0;
    {
        const StandardOutput output(full);
        isPrinted = printText(QStringLiteral("report"));
        reason = errno;
    }
    EXPECT_FALSE(isPrinted);
    EXPECT_EQ(reason, ENOSPC);
}

} // namespace
} // namespace velmo
