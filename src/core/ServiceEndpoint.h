#pragma once

#include <QString>
#include <QUrl>

namespace velmo {

/// The address of a service's operation: at the usual host, or at the one that the environment names.
/// Tolerates a missing scheme, a trailing slash, and a version that is missing or doubled.
///
/// baseVariable is the environment's name for another host; operation is the path below "/v1", as in
/// "messages".
[[nodiscard]] QUrl serviceEndpoint(const char* baseVariable, const QString& usualBase,
                                   const QString& operation);

} // namespace velmo
