#pragma once

#include <QString>

namespace velmo {

/// Why a platform service could not do what was asked. The description is for users and for the log.
struct PlatformError {
    enum class Kind {
        Failed,      ///< The service answered with an error.
        Unsupported, ///< This desktop does not offer the service.
        Denied,      ///< The user or the system refused access.
    };
    Kind kind = Kind::Failed;
    QString description;
};

} // namespace velmo
