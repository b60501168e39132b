#pragma once

#include "core/Result.h"
#include "platform/PlatformError.h"

#include <QString>
#include <chrono>

namespace velmo {

/// What recordings would be made from, by the sound server's name for it, or why there is nothing. Waits for
/// the limit at most. Nothing is recorded, and no server is started.
[[nodiscard]] Result<QString, PlatformError> surveyMicrophone(std::chrono::milliseconds limit);

} // namespace velmo
