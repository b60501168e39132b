#pragma once

#include <QByteArray>

namespace velmo {

/// Whether the signature, 64 bytes, is that of the message by the owner of the raw public key, 32 bytes. Any
/// other length, or a library that cannot tell, is a no. Any thread.
[[nodiscard]] bool verifyEd25519(const QByteArray& publicKey, const QByteArray& message,
                                 const QByteArray& signature);

} // namespace velmo
