#pragma once

#include "core/ServiceEndpoint.h"
#include "core/SettingsManager.h"

#include <QString>
#include <array>

namespace velmo {

/// A service that a key is for.
struct KeyService {
    QString name;     ///< As it is typed.
    QString title;    ///< As it is written.
    QString account;  ///< In the key store.
    ServiceBase base; ///< Where it is asked.
};

[[nodiscard]] const std::array<KeyService, 3>& keyServices();

/// Where the service's key comes from, or why there is none, without showing it: given what was read from the
/// keyring.
[[nodiscard]] QString keySourceSentence(const Keychain::ReadResult& stored, const KeyService& service);

} // namespace velmo
