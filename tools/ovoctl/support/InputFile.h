// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

namespace ovoctl {

/// Content of a file of this machine, or of the standard input for "-". Throws Misuse when it
/// cannot be read or is larger than that many bytes.
std::string readInput(const std::string& path, std::size_t largest);
/// Content of a provisioning file of this machine, as far as such a file may be long and a little
/// further, so that whoever judges it finds it too large. Throws Unaskable when it cannot be read.
std::string readProvisioningFile(const std::string& path);

} // namespace ovoctl
