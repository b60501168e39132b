#include "support/accessibility/ProcessTree.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <unistd.h>

namespace velmo::test {

std::vector<pid_t> descendants(pid_t process)
{
    std::vector<pid_t> found;
    std::error_code error;
    for (const auto& thread :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task", error)) {
        std::ifstream list(thread.path() / "children");
        for (pid_t child = 0; list >> child;) {
            found.push_back(child);
            const auto below = descendants(child);
            found.insert(found.end(), below.begin(), below.end());
        }
    }
    return found;
}

bool signalDescendant(pid_t process, int signal)
{
    const auto own = descendants(getpid());
    return process > 1 && std::find(own.begin(), own.end(), process) != own.end() &&
           kill(process, signal) == 0;
}

Halt::Halt(std::optional<pid_t> process)
{
    if (process && signalDescendant(*process, SIGSTOP))
        process_ = *process;
}

void Halt::end()
{
    if (process_ > 0)
        static_cast<void>(signalDescendant(process_, SIGCONT));
    process_ = -1;
}

} // namespace velmo::test
