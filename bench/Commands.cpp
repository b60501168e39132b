#include "Commands.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace velmo::bench {

double timeCommand(const QByteArrayList& command, const QString& outputFile)
{
    std::vector<char*> arguments;
    for (const QByteArray& word : command)
        arguments.push_back(const_cast<char*>(word.constData()));
    arguments.push_back(nullptr);
    const QByteArray output = outputFile.isEmpty() ? QByteArray("/dev/null") : outputFile.toUtf8();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.constData(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    // What is ignored here would be ignored by the command, too.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGCHLD);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

    using Milliseconds = std::chrono::duration<double, std::milli>;
    const auto begin = std::chrono::steady_clock::now();
    pid_t process = -1;
    if (posix_spawnp(&process, arguments.front(), &actions, &attributes, arguments.data(), environ) == 0) {
        // Children are reaped by the system here, so this waits for the end and tells nothing of the status.
        waitpid(process, nullptr, 0);
    }
    const auto end = std::chrono::steady_clock::now();
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return Milliseconds(end - begin).count();
}

} // namespace velmo::bench
