#pragma once

#include <algorithm>
#include <sys/resource.h>

namespace velmo {

enum class CoreDumps {
    Off,           ///< Programs that are started from here may have them again.
    OffUntilTheEnd ///< Nobody may switch them on again, for those neither.
};

/// Keys are in this process's memory, which is not to be left in a file when it crashes, or is made to. Too
/// little for any file is said instead of nothing, since with nothing the system would still hand the memory
/// to a program that collects crashes.
inline void forbidCoreDumps(CoreDumps dumps)
{
    rlimit limit{};
    if (getrlimit(RLIMIT_CORE, &limit) != 0)
        return;
    limit.rlim_cur = std::min<rlim_t>(1, limit.rlim_max);
    if (dumps == CoreDumps::OffUntilTheEnd)
        limit.rlim_max = limit.rlim_cur;
    setrlimit(RLIMIT_CORE, &limit);
}

} // namespace velmo
