// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the stock tool makes of a text ("openssl enc"): "Salted__", eight bytes of salt, and the
/// encrypted text. Throws std::bad_alloc, also where the library knows no such algorithm.
namespace security::salted {

/// How a text was encrypted; at first as the phone's files are, with the tool's options
/// "-aes-128-cbc -pbkdf2". Algorithms by the library's names.
struct Options {
    std::string cipher = "aes-128-cbc";
    std::string digest = "sha256";
    int rounds = 10'000; ///< of PBKDF2; 0: the tool's earlier derivation, without -pbkdf2

    bool operator==(const Options&) const = default;
};

constexpr std::size_t HEADER_BYTES = 16;
constexpr std::size_t BLOCK_BYTES = 16;
/// Of the plain text: a provisioning file is never larger.
constexpr unsigned long long MAX_PLAIN_BYTES = 16ULL << 20U;
constexpr unsigned long long MAX_BYTES = MAX_PLAIN_BYTES + HEADER_BYTES + BLOCK_BYTES;
constexpr unsigned long long MAX_KEY_FILE_BYTES = 1ULL << 20U;
constexpr std::string_view MAGIC = "Salted__";

/// The password in a key file, as the stock tool reads it: up to the line feed (a carriage return
/// belongs to it) or a NUL. Lives as long as the content.
std::string_view passwordOf(std::string_view keyFileContent);

/// Replaces an encrypted text by the plain one. False when the key is wrong or the text is damaged;
/// it is of no use then.
bool decryptInPlace(std::string& text, std::string_view password, const Options& options = {});
/// The plain text with what follows its end in the last block; none when there is no whole block.
/// Also the first pieces of a damaged text.
std::optional<std::string> decryptBlocks(std::string_view text, std::string_view password,
                                         const Options& options = {});
/// Encrypts a text with a salt of its own.
std::string encrypt(std::string_view plain, std::string_view password, const Options& options = {});

} // namespace security::salted
