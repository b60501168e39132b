#include "support/core/ConsoleChild.h"

#include "core/Console.h"
#include "core/DebugLog.h"

#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace velmo {

namespace {

constexpr const char* kRole = "--console-child";
constexpr std::chrono::seconds kChildGuard{20};
constexpr size_t kChunk = 65536;

/// Takes what is there, up to a limit. Gives whether anything was.
bool drain(int descriptor, QByteArray& into)
{
    std::vector<char> buffer(kChunk);
    const ssize_t count = read(descriptor, buffer.data(), buffer.size());
    if (count > 0)
        into.append(buffer.data(), count);
    return count > 0;
}

void drainAll(int descriptor, QByteArray& into)
{
    while (drain(descriptor, into)) {
    }
}

ConsoleChildResult runChild(const std::vector<std::string>& arguments, ConsoleOutput output,
                            int replacedStream)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return {};
    std::string program = "/proc/self/exe";
    std::vector<char*> argv{program.data()};
    auto copies = arguments;
    for (std::string& argument : copies)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    if (output == ConsoleOutput::ClosedPipe)
        close(ends[0]);
    const pid_t child = fork();
    if (child == 0) {
        // Only calls that are safe after a fork in a program with threads.
        if (output == ConsoleOutput::Closed)
            close(replacedStream);
        else
            dup2(ends[1], replacedStream);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
    close(ends[1]);
    ConsoleChildResult result;
    const bool readWhileRunning = output == ConsoleOutput::Drained;
    if (output != ConsoleOutput::ClosedPipe)
        fcntl(ends[0], F_SETFL, O_NONBLOCK);
    int status = -1;
    const auto deadline = std::chrono::steady_clock::now() + kChildGuard;
    pid_t ended = 0;
    while (std::chrono::steady_clock::now() < deadline) {
        ended = waitpid(child, &status, WNOHANG | WUNTRACED);
        if (ended == child && WIFSTOPPED(status)) {
            // It has logged all its lines and waits for the pipe to be emptied.
            drainAll(ends[0], result.output);
            kill(child, SIGCONT);
            ended = 0;
        }
        if (ended != 0)
            break;
        if (readWhileRunning)
            drain(ends[0], result.output);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (ended == 0) {
        kill(child, SIGKILL);
        waitpid(child, &status, 0);
    }
    result.finished = ended == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (output == ConsoleOutput::ClosedPipe)
        return result;
    drainAll(ends[0], result.output);
    close(ends[0]);
    return result;
}

} // namespace

ConsoleChildResult logInChild(const QString& logFile, const QString& message, int count, ConsoleOutput output)
{
    const char* role = output == ConsoleOutput::FullPipe ? "pause" : "output";
    return runChild({kRole, role, logFile.toStdString(), std::to_string(count), message.toStdString()},
                    output, STDOUT_FILENO);
}

ConsoleChildResult logToErrorInChild(const QString& logFile, const QString& message)
{
    return runChild({kRole, "error", logFile.toStdString(), "1", message.toStdString()},
                    ConsoleOutput::Drained, STDERR_FILENO);
}

std::optional<int> runAsConsoleChild(int argc, char** argv)
{
    constexpr int kArguments = 6;
    if (argc != kArguments || std::strcmp(argv[1], kRole) != 0)
        return std::nullopt;
    std::signal(SIGPIPE, SIG_IGN); // As the program itself does.
    if (std::strcmp(argv[2], "error") == 0)
        Console::setStream(Console::Stream::StandardError);
    DebugLog::setLogFile(QString::fromUtf8(argv[3]));
    const int count = std::stoi(argv[4]);
    for (int line = 0; line < count; ++line)
        DebugLog::log(QStringLiteral("Child"), QString::fromUtf8(argv[5]) + QString::number(line));
    DebugLog::flush();
    if (std::strcmp(argv[2], "pause") == 0) {
        std::raise(SIGSTOP);
        DebugLog::log(QStringLiteral("Child"), QStringLiteral("The pipe is empty."));
        DebugLog::flush();
    }
    return 0;
}

} // namespace velmo
