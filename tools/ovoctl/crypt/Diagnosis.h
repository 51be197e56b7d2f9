// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ovoctl {

/// What can be told of a file that should be encrypted as the phone's provisioning files are.
enum class Diagnosis {
    READABLE,       ///< the phone can decrypt it with this key
    NO_TEXT,        ///< the same, but what comes out is not text: most likely the key is wrong
    PLAIN,          ///< it is not encrypted
    ENCODED,        ///< encrypted, but written as text in Base64 (-a, -base64)
    NO_PBKDF2,      ///< this key, but without -pbkdf2
    OTHER_ROUNDS,   ///< this key and -pbkdf2, but another number of rounds (-iter)
    OTHER_DIGEST,   ///< this key and -pbkdf2, but another digest (-md)
    OTHER_CIPHER,   ///< this key, but another cipher than -aes-128-cbc
    OTHER_LINE_END, ///< this key with, or without, the carriage return at its end
    DAMAGED,        ///< this key and the right options, but the file is cut or changed
    CUT,            ///< it is not as long as any encrypted file is; more is not known
    UNREADABLE,     ///< the key is wrong, or the file is damaged from its beginning on
};

/// What diagnose() found.
struct Diagnosed {
    Diagnosis diagnosis;
    /// The tool's options that the file was made with, as far as they are known and not ours:
    /// "-aes-256-cbc -md sha512".
    std::string options;
    /// What is wrong, in words that say what to do; empty for READABLE. Without the file's name and
    /// the key: "the file was encrypted without -pbkdf2 (-aes-128-cbc); encrypt it again with
    /// -aes-128-cbc -pbkdf2".
    std::string sentence;
    /// What the phone reads, for READABLE and NO_TEXT.
    std::optional<std::string> plain = std::nullopt;
};

/// Decrypts a file as the phone does, or finds out why that cannot be done. content: of the file.
/// key: of the key file, whose first line is the password; it is not looked at for PLAIN and
/// ENCODED.
///
/// Options other than ours are recognised by what comes out of it: text in UTF-8. Many times the
/// usual effort, up to about a second, goes into a file that no key opens. One wrong key in about
/// 256 makes a file NO_TEXT instead of UNREADABLE, as it does for the phone.
Diagnosed diagnose(std::string_view content, std::string_view key);

} // namespace ovoctl
