// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <string>

namespace ovo {

/// A malformed parameter name.
class InvalidFormatException : public std::exception {
public:
    explicit InvalidFormatException(const std::string& message) : message_(message) {}
    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};

} // namespace ovo
