// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ovoctl::check {

/// True for a text that begins as an encrypted file does.
bool isEncrypted(std::string_view text);

/// Why a plain text may be an encrypted one after all, in Base64 for example; empty: it is not.
std::string disguiseOf(std::string_view text);

/// A text decrypted, or why that failed.
struct Decrypted {
    std::optional<std::string> plain;
    std::string fault; ///< a sentence without its end
};

/// Decrypts a text as the phone does. Where that fails, tries what other options of the stock tool
/// would give, and names those that fit. keyFile: content of the key file.
Decrypted decrypt(std::string_view text, std::string_view keyFile);

} // namespace ovoctl::check
