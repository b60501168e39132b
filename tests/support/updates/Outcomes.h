#pragma once

#include "platform/linux/CurlErrors.h"
#include "updates/UpdateCheck.h"

#include <cerrno>
#include <vector>

namespace velmo::test {

/// What the network and the libraries say then.
[[nodiscard]] inline QString descriptionWith(UpdateOutcome::Kind kind, const QString& host)
{
    switch (kind) {
    case UpdateOutcome::Kind::UntrustedServer:
        return httpErrorFromCurl(
                   CURLE_PEER_FAILED_VERIFICATION, 0,
                   QStringLiteral("SSL certificate problem: unable to get local issuer certificate"), host)
            .description;
    case UpdateOutcome::Kind::Offline:
        return noNetworkError().description;
    case UpdateOutcome::Kind::Unable:
        return QStringLiteral("The library libcrypto.so.3 is missing: install it, and start Velmo again.");
    case UpdateOutcome::Kind::Unreachable:
        return httpErrorFromCurl(CURLE_COULDNT_CONNECT, ECONNREFUSED,
                                 QStringLiteral("Failed to connect to server"), host)
            .description;
    default:
        return {};
    }
}

/// One of each kind.
[[nodiscard]] inline std::vector<UpdateOutcome> everyOutcome(const QString& host)
{
    std::vector<UpdateOutcome> outcomes;
    for (int kind = 0; kind <= static_cast<int>(UpdateOutcome::Kind::Unreachable); ++kind) {
        UpdateOutcome outcome;
        outcome.kind = static_cast<UpdateOutcome::Kind>(kind);
        outcome.latest = QVersionNumber(0, 2);
        outcome.description = descriptionWith(outcome.kind, host);
        outcomes.push_back(outcome);
    }
    return outcomes;
}

} // namespace velmo::test
