// SPDX-License-Identifier: Apache-2.0
#include "Paths.h"

#include "text/Ascii.h"
#include "text/Quote.h"

#include <openssl/sha.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string_view>

namespace paths {

namespace {

/// SHA-256 in lower-case hexadecimal.
std::string digestOf(std::string_view text) {
    constexpr std::string_view DIGITS = "0123456789abcdef";
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
    if (SHA256(bytes, text.size(), digest.data()) == nullptr)
        throw std::bad_alloc();
    std::string result;
    for (const unsigned char byte : digest)
        result.append({DIGITS[byte >> 4U], DIGITS[byte & 0xfU]});
    return result;
}

[[noreturn]] void refuse(const std::string& path, const char* why) {
    throw std::runtime_error("Path " + quote(path) + " refused: " + why);
}

} // namespace

std::string directory() {
    const char* value = std::getenv("HALDEN_ROOT");
    std::string path = value == nullptr ? std::string() : std::string(value);
    while (!path.empty() && path.back() == '/')
        path.pop_back();
    return path;
}

void check(const std::string& phonePath) {
    if (phonePath.empty() || phonePath.front() != '/')
        refuse(phonePath, "it is not absolute");
    if (std::any_of(phonePath.begin(), phonePath.end(), ascii::isControl))
        refuse(phonePath, "it holds a control character");
    std::string_view rest = phonePath;
    while (!rest.empty()) {
        const auto slash = rest.find('/');
        const std::string_view component = rest.substr(0, slash);
        if (component == "." || component == "..")
            refuse(phonePath, "it holds a \".\" or \"..\" component");
        rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
    }
}

std::string onDisk(const std::string& phonePath) {
    constexpr std::size_t KEPT = 190;
    check(phonePath);
    const std::size_t nameBegin = phonePath.rfind('/') + 1;
    if (phonePath.size() - nameBegin <= NAME_MAX)
        return phonePath;
    return phonePath.substr(0, nameBegin + KEPT) + "~" +
           digestOf(std::string_view(phonePath).substr(nameBegin));
}

posix::HostPath toHost(const std::string& phonePath) {
    return posix::HostPath(directory() + onDisk(phonePath));
}

} // namespace paths
