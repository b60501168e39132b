#include "support/x11/ChildProcess.h"

#include "support/x11/Await.h"

#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace velmo::test {

ChildProcess::ChildProcess(const QList<QByteArray>& command, int keptDescriptor)
{
    std::vector<char*> arguments;
    for (const auto& argument : command)
        arguments.push_back(const_cast<char*>(argument.constData()));
    arguments.push_back(nullptr);
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ != 0)
        return;
    // The system ends the program when the test is killed; the second check covers a test that is gone
    // already.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(1);
    // What the test ignores would be ignored by the program, too, and an X server waits for its children.
    signal(SIGCHLD, SIG_DFL);
    const int null = open("/dev/null", O_RDWR);
    dup2(null, STDIN_FILENO);
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    if (keptDescriptor >= 0)
        fcntl(keptDescriptor, F_SETFD, 0);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : pid_(std::exchange(other.pid_, -1))
{}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept
{
    if (this != &other) {
        stop();
        pid_ = std::exchange(other.pid_, -1);
    }
    return *this;
}

bool ChildProcess::isRunning()
{
    if (pid_ <= 0)
        return false;
    if (waitpid(pid_, nullptr, WNOHANG) == 0)
        return true;
    pid_ = -1;
    return false;
}

void ChildProcess::halt()
{
    if (isRunning() && kill(pid_, SIGSTOP) == 0)
        waitpid(pid_, nullptr, WUNTRACED);
}

void ChildProcess::stop()
{
    if (!isRunning())
        return;
    kill(pid_, SIGTERM);
    // A halted program would not learn of it.
    kill(pid_, SIGCONT);
    if (awaitCondition([this] { return !isRunning(); }, std::chrono::seconds(3)))
        return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

} // namespace velmo::test
