#include "Root.h"

#include "Ascii.h"
#include "text/Quote.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

namespace root {

namespace {

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

std::string toHost(const std::string& phonePath) {
    check(phonePath);
    return directory() + phonePath;
}

} // namespace root
