// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Neighbour.h"
#include "Readiness.h"
#include "TrustedCertificates.h"

#include <optional>
#include <string>
#include <vector>

namespace simulator {

/// The credentials that the user would type in on the phone's screen.
struct Credentials {
    std::string user;
    std::string password;
};

/// Names of all neighbours, in the order of the table.
std::vector<std::string> neighbourNames();

/// Names of those that are asked whether they are ready.
std::vector<std::string> readinessNames();

/// True when the neighbour reacts to messages of this name.
bool hears(const std::string& neighbour, const std::string& message);
/// True when the reaction to messages of this name is an answer, or a message back.
bool saysSomethingTo(const std::string& message);

/// All neighbours of the daemon on the bus. Readiness and certificates must outlive the neighbours
/// that are made of it.
std::vector<NeighbourDescription> neighbourTable(const Readiness& readiness,
                                                 const std::optional<Credentials>& credentials,
                                                 const TrustedCertificates& certificates);

/// Name of the system configuration service.
extern const char* const SYSTEM_CONFIGURATION;

} // namespace simulator
