// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace simulator {

/// The provisioning manager's name on the bus.
inline constexpr const char* DAEMON_NAME = "prov-client";

} // namespace simulator
