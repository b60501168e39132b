#pragma once

#include "core/DebugLog.h"

namespace velmo {

/// Every line of the session has the same category.
inline void logSession(const QString& message)
{
    DebugLog::log(QStringLiteral("Session"), message);
}

} // namespace velmo
