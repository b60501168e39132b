#pragma once

#include "core/DelayLoadedLibrary.h"

#include <curl/curl.h>

namespace velmo {

/// Wanted by the first request. The network thread loads it.
inline DelayLoadedLibrary curlLibrary("curl", 4);

VELMO_DELAY_LOADED(curlLibrary, curl_easy_cleanup);
VELMO_DELAY_LOADED(curlLibrary, curl_easy_getinfo);
VELMO_DELAY_LOADED(curlLibrary, curl_easy_init);
VELMO_DELAY_LOADED(curlLibrary, curl_easy_setopt);
VELMO_DELAY_LOADED(curlLibrary, curl_easy_strerror);
VELMO_DELAY_LOADED(curlLibrary, curl_global_init);
VELMO_DELAY_LOADED(curlLibrary, curl_multi_add_handle);
VELMO_DELAY_LOADED(curlLibrary, curl_multi_cleanup);
VELMO_DELAY_LOADED(curlLibrary, curl_multi_info_read);
VELMO_DELAY_LOADED(curlLibrary, curl_multi_init);
VELMO_DELAY_LOADED(curlLibrary, curl_multi_perform);
VELMO_DELAY_LOADED(curlLibrary, curl_multi_poll);
VELMO_DELAY_LOADED(curlLibrary, curl_multi_remove_handle);
VELMO_DELAY_LOADED(curlLibrary, curl_multi_wakeup);
VELMO_DELAY_LOADED(curlLibrary, curl_slist_append);
VELMO_DELAY_LOADED(curlLibrary, curl_slist_free_all);

} // namespace velmo
