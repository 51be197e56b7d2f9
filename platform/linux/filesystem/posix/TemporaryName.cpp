#include "TemporaryName.h"

#include <sys/random.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <system_error>

namespace filesystem {

namespace {

constexpr std::string_view DIGITS = "0123456789abcdef";
constexpr std::string_view ALPHANUMERIC =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

struct Form {
    std::string_view prefix;
    std::size_t length;        ///< of what follows the prefix ...
    std::string_view alphabet; ///< ... which consists of these characters
};

constexpr Form PRESENT{".tmp-", 16, DIGITS};
constexpr Form FORMER{".download-", 6, ALPHANUMERIC};

bool matches(std::string_view name, const Form& form) {
    return name.size() == form.prefix.size() + form.length &&
           name.substr(0, form.prefix.size()) == form.prefix &&
           name.find_first_not_of(form.alphabet, form.prefix.size()) == std::string_view::npos;
}

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
    // Random once a process, so that names differ from those that an earlier one left.
    static std::atomic<std::uint64_t> next{makeNumber()};
    std::uint64_t number = next.fetch_add(1);
    std::string name(PRESENT.prefix);
    for (std::size_t digit = 0; digit < PRESENT.length; ++digit, number >>= 4U)
        name += DIGITS[number & 0xfU];
    return name;
}

bool isTemporaryName(std::string_view name) {
    return matches(name, PRESENT) || matches(name, FORMER);
}

} // namespace filesystem
