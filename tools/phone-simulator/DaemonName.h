#ifndef SIMULATOR_DAEMONNAME_H
#define SIMULATOR_DAEMONNAME_H

namespace simulator {

/// The provisioning manager's name on the bus.
inline constexpr const char* DAEMON_NAME = "prov-client";

} // namespace simulator

#endif
