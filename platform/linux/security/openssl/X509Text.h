// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "OpenSsl.h"

#include <string>
#include <string_view>
#include <vector>

/// Certificates as they stand in files. None of it throws but std::bad_alloc, and none leaves an
/// error behind.
namespace http::x509 {

/// Every certificate of a file: PEM, what else stands there passed over, or one in DER. Empty:
/// there is none that parses.
std::vector<X509Ptr> parse(std::string_view content);

/// Empty when it cannot be written.
std::string toPem(X509* certificate);

/// SHA-256 of the certificate: 32 bytes.
std::string fingerprint(X509* certificate);

/// What is said of a file without one.
constexpr const char* NO_CERTIFICATE = "it holds no certificate";

/// Why a certificate is not within its dates; null: it is.
const char* whyNotNow(const X509* certificate);

/// Why a certificate cannot be trusted as an issuer or for itself; null: it can.
const char* whyUnusable(X509* certificate);

} // namespace http::x509
