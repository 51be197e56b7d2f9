// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>

namespace posix {

/// A path of the machine that the daemon runs on, as system calls take it. Paths of the phone are
/// plain texts: paths::toHost() makes one of the other, and nothing else does it unseen.
class HostPath {
public:
    HostPath() = default;
    explicit HostPath(std::string text) : text_(std::move(text)) {}

    const std::string& text() const { return text_; }
    const char* c_str() const { return text_.c_str(); }
    /// The path of another file beside it: this one's with a suffix.
    HostPath with(const char* suffix) const { return HostPath(text_ + suffix); }

    bool operator==(const HostPath&) const = default;

private:
    std::string text_;
};

} // namespace posix
