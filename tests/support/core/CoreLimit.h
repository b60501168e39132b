#pragma once

#include <QProcess>
#include <sys/resource.h>

namespace velmo::test {

/// What a process may leave of its memory in a file, in bytes.
[[nodiscard]] inline rlimit coreLimitOf(qint64 process)
{
    rlimit limit{};
    prlimit(static_cast<pid_t>(process), RLIMIT_CORE, nullptr, &limit);
    return limit;
}

/// The process starts with as much as this one may give. False: that is nothing.
[[nodiscard]] inline bool allowCoreDumps(QProcess& process)
{
    process.setChildProcessModifier([] {
        rlimit limit{};
        getrlimit(RLIMIT_CORE, &limit);
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_CORE, &limit);
    });
    return coreLimitOf(0).rlim_max > 1;
}

} // namespace velmo::test
