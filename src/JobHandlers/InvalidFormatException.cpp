// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/InvalidFormatException.h"

namespace ovo {

InvalidFormatException::InvalidFormatException(const std::string& message) : message_(message) {}

} // namespace ovo
