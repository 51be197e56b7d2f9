// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "TlsWatch.h"

namespace http {

/// Why a handshake failed, be it the first, or one that the peer began or judged later; not for a
/// wrong name in the certificate. offered: the peer was offered a client certificate. A text as in
/// Clause.
const char* describeHandshake(const TlsWatch& tls, bool offered);

} // namespace http
