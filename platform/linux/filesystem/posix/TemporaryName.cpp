// SPDX-License-Identifier: Apache-2.0
#include "TemporaryName.h"

#include <sys/random.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <system_error>

namespace filesystem {

namespace {

constexpr std::string_view PREFIX = ".tmp-";
constexpr std::size_t DIGIT_COUNT = 16;
constexpr std::string_view DIGITS = "0123456789abcdef";

std::uint64_t makeNumber() {
    std::uint64_t number = 0;
    while (::getrandom(&number, sizeof number, 0) != sizeof number) {
        if (errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "Random number");
    }
    return number;
}

} // namespace

std::string makeTemporaryName() {
    // Random once for each process: the names differ from those that an earlier process left.
    static std::atomic<std::uint64_t> next{makeNumber()};
    std::uint64_t number = next.fetch_add(1);
    std::string name(PREFIX);
    for (std::size_t digit = 0; digit < DIGIT_COUNT; ++digit, number >>= 4U)
        name += DIGITS[number & 0xfU];
    return name;
}

bool isTemporaryName(std::string_view name) {
    return name.size() == PREFIX.size() + DIGIT_COUNT && name.starts_with(PREFIX) &&
           name.find_first_not_of(DIGITS, PREFIX.size()) == std::string_view::npos;
}

} // namespace filesystem
