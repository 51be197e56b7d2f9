// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "security/openssl/SaltedText.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

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

/// Decrypts files as the phone does, one after another, or finds out why that cannot be done. One
/// thread.
///
/// Options other than ours are recognised by what comes out of it: text in UTF-8. A search for them
/// takes up to about a second, so only the first few files that no key opens are searched; those
/// that were found are tried on each file. One wrong key in about 256 makes a file NO_TEXT instead
/// of UNREADABLE, as it does for the phone.
class Diagnoser {
public:
    /// key: of the key file, whose first line is the password; it is not looked at for PLAIN and
    /// ENCODED. Outlives the object.
    explicit Diagnoser(std::string_view key) : key_(key) {}

    /// content: of the file.
    Diagnosed diagnose(std::string_view content);

private:
    class Examination;

    Diagnosed explain(std::string_view content, std::string_view password);
    std::optional<Diagnosed> findOtherOptions(const Examination& examination);

    std::string_view key_;
    std::vector<security::salted::Options> found_; ///< by earlier searches
    int searches_ = 0;                             ///< that found nothing
};

} // namespace ovoctl
