// SPDX-License-Identifier: Apache-2.0
#include "FigureText.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>

namespace bench {

namespace {

std::string unitAfter(const std::string& text, const std::string& unit) {
    return unit.empty() ? text : text + " " + unit;
}

} // namespace

std::string grouped(int value) {
    std::string text = std::to_string(value);
    const std::size_t sign = value < 0 ? 1U : 0U;
    for (std::size_t at = text.size(); at > sign + 3; at -= 3)
        text.insert(at - 3, ",");
    return text;
}

std::string number(double value) {
    const double size = std::fabs(value);
    if (size >= 999.5 && size < 1e9)
        return grouped(static_cast<int>(std::lround(value)));
    int digits = 2;
    if (size >= 99.5 || value == std::floor(value))
        digits = 0;
    else if (size >= 9.95)
        digits = 1;
    else if (size < 0.0995)
        digits = 3;
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.*f", digits, value);
    return text.data();
}

std::string withUnit(double value, const std::string& unit) {
    return unitAfter(number(value), unit);
}

std::string withRange(const Range& range, const std::string& unit) {
    if (range.low == range.high)
        return withUnit(range.median, unit);
    return unitAfter(
        number(range.median) + " (" + number(range.low) + " to " + number(range.high) + ")", unit);
}

} // namespace bench
