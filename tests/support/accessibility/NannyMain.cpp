// Runs a command and ends it with all that it started, and what that started, when this program is asked to
// end or the one that started it is gone. Services of a bus would outlive it otherwise.

#include "support/accessibility/ProcessTree.h"

#include <csignal>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    const pid_t parent = getppid();
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    if (argc < 2 || getppid() != parent)
        return 1;
    if (fork() == 0) {
        sigprocmask(SIG_UNBLOCK, &signals, nullptr);
        execvp(argv[1], argv + 1);
        _exit(127);
    }
    int number = 0;
    sigwait(&signals, &number);
    for (auto rest = velmo::test::descendants(getpid()); !rest.empty();
         rest = velmo::test::descendants(getpid())) {
        for (const pid_t process : rest)
            kill(process, SIGKILL);
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
        usleep(1000);
    }
}
