// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <string_view>

namespace security {

template <auto FREE>
struct OpenSslDeleter {
    template <typename Handle>
    void operator()(Handle* handle) const {
        FREE(handle);
    }
};

using BioPtr = std::unique_ptr<BIO, OpenSslDeleter<BIO_free>>;
using X509Ptr = std::unique_ptr<X509, OpenSslDeleter<X509_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, OpenSslDeleter<EVP_PKEY_free>>;
using CipherContextPtr = std::unique_ptr<EVP_CIPHER_CTX, OpenSslDeleter<EVP_CIPHER_CTX_free>>;

/// A source over a text, which has to outlive it. Throws std::bad_alloc.
BioPtr makeSource(std::string_view text);
/// A sink into memory, wiped when it goes. Throws std::bad_alloc.
BioPtr makeSink();
std::string contentOf(const BioPtr& sink);

/// The library keeps its errors in a list for each thread, and other users of the library would
/// take what is left there for their own. Clears the list at its beginning and at its end.
class OpenSslErrors {
public:
    OpenSslErrors() { ERR_clear_error(); }
    ~OpenSslErrors() { ERR_clear_error(); }
    OpenSslErrors(const OpenSslErrors&) = delete;
    OpenSslErrors& operator=(const OpenSslErrors&) = delete;
};

/// A callback of the PEM functions, which without one ask on the terminal.
int refusePassword(char* buffer, int size, int writing, void* unused);

} // namespace security
