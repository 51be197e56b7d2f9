// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "OpenSsl.h"

#include <string>
#include <string_view>
#include <vector>

/// Certificates in the form that files hold. Every function throws std::bad_alloc alone and leaves
/// no error in the library's list.
namespace security::x509 {

/// Every certificate of a file: those in PEM, other text is ignored, or one in DER. Empty: none
/// parses.
std::vector<X509Ptr> parse(std::string_view content);

/// Empty when it cannot be written.
std::string toPem(X509* certificate);

/// SHA-256 of the certificate: 32 bytes.
std::string fingerprint(X509* certificate);

/// The problem of a file without a certificate.
constexpr const char* NO_CERTIFICATE = "it holds no certificate";

/// Why a certificate is not within its dates; null: it is.
const char* whyNotNow(const X509* certificate);

/// Why a certificate cannot be trusted as an issuer or for itself; null: it can.
const char* whyUnusable(X509* certificate);

} // namespace security::x509
