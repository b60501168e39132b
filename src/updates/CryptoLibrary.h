#pragma once

#include "core/DelayLoadedLibrary.h"

#include <openssl/evp.h>

namespace velmo {

/// Checks signatures; wanted by an update's.
inline DelayLoadedLibrary cryptoLibrary("crypto", OPENSSL_SHLIB_VERSION);

VELMO_DELAY_LOADED(cryptoLibrary, EVP_DigestVerify);
VELMO_DELAY_LOADED(cryptoLibrary, EVP_DigestVerifyInit);
VELMO_DELAY_LOADED(cryptoLibrary, EVP_MD_CTX_free);
VELMO_DELAY_LOADED(cryptoLibrary, EVP_MD_CTX_new);
VELMO_DELAY_LOADED(cryptoLibrary, EVP_PKEY_free);
VELMO_DELAY_LOADED(cryptoLibrary, EVP_PKEY_new_raw_public_key);

} // namespace velmo
