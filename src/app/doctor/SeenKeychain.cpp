#include "app/doctor/SeenKeychain.h"

#include "app/KeySources.h"

namespace velmo {

SeenKeychain::SeenKeychain(Keychain& keychain, const QString& service)
{
    for (const KeyService& each : keyServices())
        items_.insert(each.account, keychain.read(service, each.account));
    // Asked last, so that it knows of what the reads ran into.
    availability_ = keychain.availability();
}

Keychain::ReadResult SeenKeychain::read(const QString&, const QString& account)
{
    return items_.value(account);
}

} // namespace velmo
