// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CaBundle.h"

#include <string>
#include <vector>

namespace security {

/// The usable certificates of a directory (not of those below it), each once, in the order of their
/// file names. A certificate that several files hold is listed under the file with the fewest
/// certificates, under a link by hash only as the last choice. A file with certificates of which
/// none is usable, and one that cannot be read, is skipped with a level 2 log line. Throws
/// std::runtime_error when the directory itself cannot be read.
std::vector<BundleEntry> readCertificateDirectory(const std::string& directory);

} // namespace security
