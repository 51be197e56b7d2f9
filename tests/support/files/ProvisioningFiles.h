// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// A file of tests/files. A new one needs nothing but to be put there: its comment says what it is
/// and, a line each, what "ovoctl check" finds and what is special about the phone, the encryption
/// and the server:
///
///     finding: LINE:COLUMN RULE: SENTENCE
///     phone: KEY=VALUE           a property before the run
///     encrypted: OPTIONS         of openssl enc
///     key: KEY                   instead of the phone's
///     outside: TEXT              part of the cause of a failure that the file is not to blame for
///
/// "@PORT@" and "@TLSPORT@" are those of the server 127.0.0.1. It answers 404 where a path holds
/// "missing", redirects from below "/moved/", and has a good provisioning file of one parameter in
/// place of every other file that is not there. The files lie in it as they do here.
struct ProvisioningFile {
    struct Finding {
        std::string what; ///< "LINE:COLUMN RULE"
        std::string sentence;

        bool isOf(const std::string& rule) const;
    };

    std::string name; ///< DIRECTORY/NAME.xml
    std::string text; ///< as it lies there
    std::vector<Finding> findings;
    std::map<std::string, std::string> phone;
    std::optional<std::string> encryption;
    std::optional<std::string> key;
    std::vector<std::string> outside;

    /// With the ports of a server.
    std::string content(std::uint16_t port, std::uint16_t tlsPort) const;
    /// The same as the server sends it. phoneKey: for a file that names no other one.
    std::string sent(std::uint16_t port, std::uint16_t tlsPort, const std::string& phoneKey) const;
};

/// What the server has in place of every file that is not there.
extern const char* const ANY_OTHER_FILE;

/// All of them, by name.
const std::vector<ProvisioningFile>& provisioningFiles();
/// The names of their directories.
std::vector<std::string> provisioningDirectories();
/// The XML examples of the reference for provisioning files, in order.
std::vector<std::string> referenceExamples();
