#pragma once

#include <QByteArray>

#include <memory>
#include <openssl/evp.h>

namespace velmo::test {

/// Somebody who announces releases: an Ed25519 key of its own.
class SigningKey {
public:
    SigningKey()
        : key_(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"), EVP_PKEY_free)
    {}

    [[nodiscard]] QByteArray publicKey() const
    {
        QByteArray raw(32, '\0');
        size_t length = static_cast<size_t>(raw.size());
        EVP_PKEY_get_raw_public_key(key_.get(), reinterpret_cast<unsigned char*>(raw.data()), &length);
        return raw;
    }

    /// As it lies beside a feed: in base 64, with a newline.
    [[nodiscard]] QByteArray sign(const QByteArray& message) const
    {
        QByteArray signature(64, '\0');
        size_t length = static_cast<size_t>(signature.size());
        const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                              EVP_MD_CTX_free);
        EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key_.get());
        EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &length,
                       reinterpret_cast<const unsigned char*>(message.constData()),
                       static_cast<size_t>(message.size()));
        return signature.toBase64() + '\n';
    }

private:
    std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key_;
};

/// A feed that says so.
[[nodiscard]] inline QByteArray feedText(const QByteArray& version,
                                         const QByteArray& page = "https://example.org/releases",
                                         const QByteArray& expires = "2999-01-01T00:00:00Z")
{
    return R"({"version": ")" + version + R"(", "page": ")" + page + R"(", "expires": ")" + expires + "\"}\n";
}

} // namespace velmo::test
