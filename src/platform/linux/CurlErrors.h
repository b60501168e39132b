#pragma once

#include "platform/HttpClient.h"

#include <curl/curl.h>

namespace velmo {

/// What a libcurl failure means to callers. `systemError` is the errno behind it, `detail` libcurl's own
/// words.
[[nodiscard]] HttpError httpErrorFromCurl(CURLcode code, int systemError, const QString& detail,
                                          const QString& host);

/// The error of a limit of our own.
[[nodiscard]] HttpError timeOutError();

/// The error of the same limit where the whole time went by without a network.
[[nodiscard]] HttpError noNetworkError();

/// Why a name has no address: asks the resolver again, so it may block for seconds. Any thread but those that
/// others wait for.
[[nodiscard]] HttpError nameResolutionError(const QString& host);

} // namespace velmo
