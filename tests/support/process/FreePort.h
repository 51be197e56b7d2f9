#ifndef FREEPORT_H
#define FREEPORT_H

#include <cstdint>

/// A TCP port of the loopback interface that nobody listened on a moment ago.
std::uint16_t freePort();

#endif
