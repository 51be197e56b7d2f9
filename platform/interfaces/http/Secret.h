// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

namespace http {

/// A password or key in memory. Copies share one text, which is overwritten when the last of them
/// goes. Never changes; any thread. Made from a plain text wherever one stands for it.
class Secret {
public:
    Secret() = default;
    Secret(const char* text);
    Secret(const std::string& text);
    /// Overwrites what the text leaves behind in its old place.
    Secret(std::string&& text);

    /// As long-lived as the object.
    const std::string& text() const noexcept;
    bool empty() const noexcept { return text().empty(); }

    friend bool operator==(const Secret& left, const Secret& right) {
        return left.text() == right.text();
    }

private:
    struct Content;

    std::shared_ptr<const Content> content_; ///< empty: so is the text
};

} // namespace http
