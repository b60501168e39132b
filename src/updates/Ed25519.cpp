#include "updates/Ed25519.h"

#include "updates/CryptoLibrary.h"

#include <memory>

namespace velmo {

namespace {

constexpr qsizetype kSignatureLength = 64;

struct Free {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

const unsigned char* bytesOf(const QByteArray& data)
{
    return reinterpret_cast<const unsigned char*>(data.constData());
}

size_t lengthOf(const QByteArray& data)
{
    return static_cast<size_t>(data.size());
}

} // namespace

Result<SignatureVerdict, QString> verifyEd25519(const QByteArray& publicKey, const QByteArray& message,
                                                const QByteArray& signature)
{
    if (!cryptoLibrary.load())
        return Failure{cryptoLibrary.absence()};
    if (publicKey.size() != kEd25519KeyLength || signature.size() != kSignatureLength)
        return SignatureVerdict::Wrong;
    const std::unique_ptr<EVP_PKEY, Free> key(
        EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, bytesOf(publicKey), lengthOf(publicKey)));
    const std::unique_ptr<EVP_MD_CTX, Free> context(EVP_MD_CTX_new());
    // Where the system allows but some kinds of signatures, this one may not be among them.
    if (!key || !context || EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, key.get()) != 1)
        return Failure{
            QStringLiteral("This computer's OpenSSL does not check signatures of the kind Ed25519.")};
    const bool isRight = EVP_DigestVerify(context.get(), bytesOf(signature), lengthOf(signature),
                                          bytesOf(message), lengthOf(message)) == 1;
    return isRight ? SignatureVerdict::Right : SignatureVerdict::Wrong;
}

} // namespace velmo
