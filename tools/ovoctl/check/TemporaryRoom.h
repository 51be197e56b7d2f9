// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace ovoctl::check {

/// A directory for this process alone, removed with everything in it when the object goes.
class TemporaryRoom {
public:
    /// Throws std::runtime_error.
    TemporaryRoom();
    ~TemporaryRoom();
    TemporaryRoom(const TemporaryRoom&) = delete;
    TemporaryRoom& operator=(const TemporaryRoom&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

} // namespace ovoctl::check
