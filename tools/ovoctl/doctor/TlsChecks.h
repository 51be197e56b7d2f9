// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace ovoctl {

class Examination;

/// The phone's path of the certificates that the daemon trusts.
inline constexpr char CA_BUNDLE[] = "/data/certs/ca-bundle.pem";

/// Whether an encrypted server could be trusted; none is an error only where the URL is encrypted,
/// or unknown.
void checkTrustedCertificates(Examination& examination);
/// Whether certificate and key belong together; notes what the daemon would offer.
void checkClientCertificate(Examination& examination);
/// The server's chain, certificate by certificate.
void checkServerCertificates(Examination& examination);

} // namespace ovoctl
