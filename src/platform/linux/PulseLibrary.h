#pragma once

#include "core/DelayLoadedLibrary.h"

#include <pulse/context.h>
#include <pulse/error.h>
#include <pulse/introspect.h>
#include <pulse/mainloop.h>
#include <pulse/operation.h>
#include <pulse/proplist.h>
#include <pulse/sample.h>
#include <pulse/stream.h>
#include <pulse/subscribe.h>

namespace velmo {

/// Speaks to the sound server; wanted when somebody looks for the microphone. The loop's thread loads it.
inline DelayLoadedLibrary pulseLibrary("pulse", 0);

VELMO_DELAY_LOADED(pulseLibrary, pa_bytes_per_second);
VELMO_DELAY_LOADED(pulseLibrary, pa_context_connect);
VELMO_DELAY_LOADED(pulseLibrary, pa_context_disconnect);
VELMO_DELAY_LOADED(pulseLibrary, pa_context_errno);
VELMO_DELAY_LOADED(pulseLibrary, pa_context_get_server_info);
VELMO_DELAY_LOADED(pulseLibrary, pa_context_get_source_info_list);
VELMO_DELAY_LOADED(pulseLibrary, pa_context_get_state);
VELMO_DELAY_LOADED(pulseLibrary, pa_context_new);
VELMO_DELAY_LOADED(pulseLibrary, pa_context_set_state_callback);
VELMO_DELAY_LOADED(pulseLibrary, pa_context_set_subscribe_callback);
VELMO_DELAY_LOADED(pulseLibrary, pa_context_subscribe);
VELMO_DELAY_LOADED(pulseLibrary, pa_context_unref);
VELMO_DELAY_LOADED(pulseLibrary, pa_mainloop_free);
VELMO_DELAY_LOADED(pulseLibrary, pa_mainloop_get_api);
VELMO_DELAY_LOADED(pulseLibrary, pa_mainloop_new);
VELMO_DELAY_LOADED(pulseLibrary, pa_mainloop_quit);
VELMO_DELAY_LOADED(pulseLibrary, pa_mainloop_run);
VELMO_DELAY_LOADED(pulseLibrary, pa_operation_cancel);
VELMO_DELAY_LOADED(pulseLibrary, pa_operation_unref);
VELMO_DELAY_LOADED(pulseLibrary, pa_proplist_gets);
VELMO_DELAY_LOADED(pulseLibrary, pa_stream_connect_record);
VELMO_DELAY_LOADED(pulseLibrary, pa_stream_disconnect);
VELMO_DELAY_LOADED(pulseLibrary, pa_stream_drop);
VELMO_DELAY_LOADED(pulseLibrary, pa_stream_get_context);
VELMO_DELAY_LOADED(pulseLibrary, pa_stream_get_device_name);
VELMO_DELAY_LOADED(pulseLibrary, pa_stream_get_state);
VELMO_DELAY_LOADED(pulseLibrary, pa_stream_get_time);
VELMO_DELAY_LOADED(pulseLibrary, pa_stream_new);
VELMO_DELAY_LOADED(pulseLibrary, pa_stream_peek);
VELMO_DELAY_LOADED(pulseLibrary, pa_stream_readable_size);
VELMO_DELAY_LOADED(pulseLibrary, pa_stream_set_moved_callback);
VELMO_DELAY_LOADED(pulseLibrary, pa_stream_set_read_callback);
VELMO_DELAY_LOADED(pulseLibrary, pa_stream_set_state_callback);
VELMO_DELAY_LOADED(pulseLibrary, pa_stream_unref);
VELMO_DELAY_LOADED(pulseLibrary, pa_stream_update_timing_info);
VELMO_DELAY_LOADED(pulseLibrary, pa_strerror);
VELMO_DELAY_LOADED(pulseLibrary, pa_usec_to_bytes);

} // namespace velmo
