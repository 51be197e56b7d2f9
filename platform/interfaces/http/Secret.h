// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

namespace http {

/// A password or key in memory. Copies share one text, which is overwritten when the last of them
/// is destroyed. Immutable; any thread. A plain text converts to it.
class Secret {
public:
    Secret() = default;
    Secret(const char* text);
    Secret(const std::string& text);
    /// Overwrites the old place of the text.
    Secret(std::string&& text);

    /// Lives as long as the object.
    const std::string& text() const noexcept;
    bool empty() const noexcept { return text().empty(); }

    friend bool operator==(const Secret& left, const Secret& right) {
        return left.text() == right.text();
    }

private:
    struct Content;

    std::shared_ptr<const Content> content_; ///< null: the text is empty
};

} // namespace http
