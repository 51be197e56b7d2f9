// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace ipc {

/// A text that another program chose, as it may stand in a log line: in double quotes, everything
/// but printable ASCII escaped, cut after 200 bytes.
std::string foreignText(const std::string& text);

} // namespace ipc
