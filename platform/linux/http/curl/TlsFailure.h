// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "TlsWatch.h"

namespace http {

/// Why a handshake failed, also one that the peer began later or judged later; a wrong name in its
/// certificate apart. offered: the peer was offered a client certificate. A text as in Clause.
const char* describeHandshake(const TlsWatch& tls, bool offered);

} // namespace http
