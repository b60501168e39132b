#include "updates/Ed25519.h"

#include <memory>
#include <openssl/evp.h>

namespace velmo {

namespace {

constexpr qsizetype kKeyLength = 32;
constexpr qsizetype kSignatureLength = 64;

const unsigned char* bytesOf(const QByteArray& data)
{
    return reinterpret_cast<const unsigned char*>(data.constData());
}

size_t lengthOf(const QByteArray& data)
{
    return static_cast<size_t>(data.size());
}

} // namespace

bool verifyEd25519(const QByteArray& publicKey, const QByteArray& message, const QByteArray& signature)
{
    if (publicKey.size() != kKeyLength || signature.size() != kSignatureLength)
        return false;
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(
        EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, bytesOf(publicKey), lengthOf(publicKey)),
        EVP_PKEY_free);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    if (!key || !context)
        return false;
    return EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key.get()) == 1 &&
           EVP_DigestVerify(context.get(), bytesOf(signature), lengthOf(signature), bytesOf(message),
                            lengthOf(message)) == 1;
}

} // namespace velmo
