// SPDX-License-Identifier: Apache-2.0
#include "http/Secret.h"

#include <cstring>
#include <utility>

namespace http {

namespace {

/// The compiler may leave out plain assignments, but not this.
void wipe(std::string& text) noexcept {
    // A short text lies in the object itself and stays there after a move.
    ::explicit_bzero(text.data(), text.capacity());
}

} // namespace

struct Secret::Content {
    explicit Content(std::string&& source) : text(std::move(source)) { wipe(source); }
    ~Content() { wipe(text); }
    Content(const Content&) = delete;
    Content& operator=(const Content&) = delete;

    std::string text;
};

Secret::Secret(const char* text) : Secret(std::string(text)) {}

Secret::Secret(const std::string& text) : Secret(std::string(text)) {}

Secret::Secret(std::string&& text) {
    if (!text.empty())
        content_ = std::make_shared<Content>(std::move(text));
}

const std::string& Secret::text() const noexcept {
    static const std::string NONE;
    return content_ ? content_->text : NONE;
}

} // namespace http
