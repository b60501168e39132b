#include "platform/linux/PulsePointers.h"

#include "platform/linux/PulseLibrary.h"

namespace velmo {

namespace {

/// A stream that is being created has no number yet by which it could be ended, so it stays until it has:
/// otherwise the server would go on recording for nobody.
void endStream(pa_stream* stream, void* /*unused*/)
{
    switch (pa_stream_get_state(stream)) {
    case PA_STREAM_CREATING:
        break;
    case PA_STREAM_READY:
        pa_stream_disconnect(stream);
        break;
    case PA_STREAM_UNCONNECTED:
    case PA_STREAM_FAILED:
    case PA_STREAM_TERMINATED:
        pa_stream_set_state_callback(stream, nullptr, nullptr);
        pa_stream_unref(stream);
        break;
    }
}

} // namespace

void PulseContextEnd::operator()(pa_context* context) const
{
    pa_context_set_state_callback(context, nullptr, nullptr);
    pa_context_disconnect(context);
    pa_context_unref(context);
}

void PulseOperationEnd::operator()(pa_operation* operation) const
{
    pa_operation_cancel(operation);
    pa_operation_unref(operation);
}

void PulseStreamEnd::operator()(pa_stream* stream) const
{
    pa_stream_set_read_callback(stream, nullptr, nullptr);
    pa_stream_set_moved_callback(stream, nullptr, nullptr);
    pa_stream_set_state_callback(stream, &endStream, nullptr);
    endStream(stream, nullptr);
}

} // namespace velmo
