// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace http {

/// A text is not a usable URL. The message never holds credentials.
class UrlException : public std::exception {
public:
    explicit UrlException(std::string message) : message_(std::move(message)) {}
    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};

} // namespace http
