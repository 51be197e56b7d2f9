// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Statistics.h"

#include <string>

namespace bench {

/// "100,000".
std::string grouped(int value);
/// Three digits; none after the point from 100 on, where thousands are grouped.
std::string number(double value);
/// "1.35 ×", "12 ms"; without a unit the number alone.
std::string withUnit(double value, const std::string& unit);
/// "1.35 (1.30 to 1.41) ×"; without the ends when they are the middle.
std::string withRange(const Range& range, const std::string& unit);

} // namespace bench
