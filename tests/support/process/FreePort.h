// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

/// A TCP port of the loopback interface that nobody listened on a moment ago.
std::uint16_t freePort();
