// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CaBundle.h"

#include <string>
#include <vector>

namespace http {

/// The usable certificates of a directory (not of those below it), each once, in the order of their
/// file names. Where several files hold a certificate it goes by the file that holds the fewest;
/// the links by hash that certificate directories have come last. A file with certificates of which
/// none is usable, and one that cannot be read, is passed over with a level 2 log line. Throws
/// std::runtime_error when the directory itself cannot be read.
std::vector<BundleEntry> readCertificateDirectory(const std::string& directory);

} // namespace http
