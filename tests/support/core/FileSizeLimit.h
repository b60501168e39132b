#pragma once

#include <QtGlobal>
#include <sys/resource.h>

namespace velmo::test {

/// No file of this process grows beyond a size meanwhile. The signal that goes with it has to be ignored.
class FileSizeLimit {
public:
    explicit FileSizeLimit(qint64 bytes)
    {
        getrlimit(RLIMIT_FSIZE, &before_);
        rlimit limit = before_;
        limit.rlim_cur = static_cast<rlim_t>(bytes);
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }

private:
    rlimit before_{};
};

} // namespace velmo::test
