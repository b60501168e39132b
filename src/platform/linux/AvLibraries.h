#pragma once

#include "core/DelayLoadedLibrary.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/dict.h>
}

namespace velmo {

// The encoder and what writes its files; a hundred libraries come with them. Wanted by a recording.

inline DelayLoadedLibrary avutilLibrary("avutil", LIBAVUTIL_VERSION_MAJOR);
inline DelayLoadedLibrary avcodecLibrary("avcodec", LIBAVCODEC_VERSION_MAJOR);
inline DelayLoadedLibrary avformatLibrary("avformat", LIBAVFORMAT_VERSION_MAJOR);

VELMO_DELAY_LOADED(avutilLibrary, av_channel_layout_copy);
VELMO_DELAY_LOADED(avutilLibrary, av_channel_layout_default);
VELMO_DELAY_LOADED(avutilLibrary, av_dict_free);
VELMO_DELAY_LOADED(avutilLibrary, av_dict_set_int);
VELMO_DELAY_LOADED(avutilLibrary, av_frame_alloc);
VELMO_DELAY_LOADED(avutilLibrary, av_frame_free);
VELMO_DELAY_LOADED(avutilLibrary, av_frame_get_buffer);
VELMO_DELAY_LOADED(avutilLibrary, av_frame_unref);
VELMO_DELAY_LOADED(avutilLibrary, av_freep);
VELMO_DELAY_LOADED(avutilLibrary, av_log_set_level);
VELMO_DELAY_LOADED(avutilLibrary, av_malloc);
VELMO_DELAY_LOADED(avutilLibrary, av_strerror);

VELMO_DELAY_LOADED(avcodecLibrary, av_packet_alloc);
VELMO_DELAY_LOADED(avcodecLibrary, av_packet_free);
VELMO_DELAY_LOADED(avcodecLibrary, av_packet_rescale_ts);
VELMO_DELAY_LOADED(avcodecLibrary, avcodec_alloc_context3);
VELMO_DELAY_LOADED(avcodecLibrary, avcodec_find_encoder);
VELMO_DELAY_LOADED(avcodecLibrary, avcodec_free_context);
VELMO_DELAY_LOADED(avcodecLibrary, avcodec_open2);
VELMO_DELAY_LOADED(avcodecLibrary, avcodec_parameters_from_context);
VELMO_DELAY_LOADED(avcodecLibrary, avcodec_receive_packet);
VELMO_DELAY_LOADED(avcodecLibrary, avcodec_send_frame);

VELMO_DELAY_LOADED(avformatLibrary, av_interleaved_write_frame);
VELMO_DELAY_LOADED(avformatLibrary, av_write_trailer);
VELMO_DELAY_LOADED(avformatLibrary, avformat_alloc_output_context2);
VELMO_DELAY_LOADED(avformatLibrary, avformat_free_context);
VELMO_DELAY_LOADED(avformatLibrary, avformat_new_stream);
VELMO_DELAY_LOADED(avformatLibrary, avformat_write_header);
VELMO_DELAY_LOADED(avformatLibrary, avio_alloc_context);
VELMO_DELAY_LOADED(avformatLibrary, avio_context_free);
VELMO_DELAY_LOADED(avformatLibrary, avio_flush);

} // namespace velmo
