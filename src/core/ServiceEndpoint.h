#pragma once

#include <QString>
#include <QUrl>

namespace velmo {

/// Where a service is: at the usual address, unless the environment names another.
struct ServiceBase {
    const char* variable;
    const char* usual;
};
inline constexpr ServiceBase kAnthropicBase{"ANTHROPIC_BASE_URL", "https://api.anthropic.com"};
inline constexpr ServiceBase kOpenAIBase{"OPENAI_BASE_URL", "https://api.openai.com/v1"};
inline constexpr ServiceBase kReplicateBase{"REPLICATE_BASE_URL", "https://api.replicate.com"};

/// The address of a service's operation: at the usual host, or at the one that the environment names.
/// Tolerates a missing scheme, a trailing slash, and a version that is missing or doubled.
///
/// operation is the path below "/v1", as in "messages".
[[nodiscard]] QUrl serviceEndpoint(const ServiceBase& service, const QString& operation);

} // namespace velmo
