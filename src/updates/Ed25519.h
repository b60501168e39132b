#pragma once

#include "core/Result.h"

#include <QByteArray>
#include <QString>

namespace velmo {

enum class SignatureVerdict { Right, Wrong };

/// In bytes, of a raw public key.
inline constexpr qsizetype kEd25519KeyLength = 32;

/// Whether the signature, 64 bytes, is that of the message by the owner of the raw public key; one of any
/// other length is wrong. The failure is a sentence for the user: why this machine cannot tell. Any thread;
/// the first call waits for the disk.
[[nodiscard]] Result<SignatureVerdict, QString>
verifyEd25519(const QByteArray& publicKey, const QByteArray& message, const QByteArray& signature);

} // namespace velmo
