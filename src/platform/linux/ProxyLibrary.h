#pragma once

#include "core/DelayLoadedLibrary.h"

#include <proxy.h>

namespace velmo {

/// Knows the desktop's proxies; wanted by the first request to another computer.
inline DelayLoadedLibrary proxyLibrary("proxy", 1);

VELMO_DELAY_LOADED(proxyLibrary, px_proxy_factory_free);
VELMO_DELAY_LOADED(proxyLibrary, px_proxy_factory_free_proxies);
VELMO_DELAY_LOADED(proxyLibrary, px_proxy_factory_get_proxies);
VELMO_DELAY_LOADED(proxyLibrary, px_proxy_factory_new);

} // namespace velmo
