#pragma once

#include <memory>

struct pa_context;
struct pa_operation;
struct pa_stream;

namespace velmo {

// What the sound library counts, with one owner each. On the loop's thread; none of their callbacks is called
// any more once they are let go, also from within one.

struct PulseContextEnd {
    /// Disconnects, which ends its streams and operations, too.
    void operator()(pa_context* context) const;
};
using PulseContextPtr = std::unique_ptr<pa_context, PulseContextEnd>;

struct PulseOperationEnd {
    void operator()(pa_operation* operation) const;
};
using PulseOperationPtr = std::unique_ptr<pa_operation, PulseOperationEnd>;

struct PulseStreamEnd {
    /// Disconnects, as soon as the server has created it if it has not yet.
    void operator()(pa_stream* stream) const;
};
using PulseStreamPtr = std::unique_ptr<pa_stream, PulseStreamEnd>;

} // namespace velmo
