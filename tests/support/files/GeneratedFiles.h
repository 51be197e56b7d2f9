// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

/// The examples of the reference and the templates of "ovoctl new", each with one slip. The same
/// files each time.
std::vector<std::string> generateBadFiles(std::size_t count);
