// SPDX-License-Identifier: Apache-2.0
#include "CertificateDirectory.h"

#include "X509Text.h"
#include "filesystem/Filesystem.h"
#include "logger/Logger.h"
#include "paths/Paths.h"
#include "posix/FileStamp.h"
#include "text/Quote.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>
#include <stdexcept>
#include <system_error>
#include <tuple>

namespace security {

namespace {

constexpr unsigned long long MAX_FILE_BYTES = 4ULL << 20U;

struct CertificateFile {
    std::string name;
    std::vector<BundleEntry> entries;
};

[[noreturn]] void fail(const std::string& directory, const std::error_code& cause) {
    throw std::runtime_error("Reading the certificate directory " + quote(directory) +
                             " failed: " + cause.message());
}

/// Names of the regular files and of the links to regular files, sorted.
std::vector<std::string> listFiles(const std::string& directory) {
    std::error_code error;
    std::filesystem::directory_iterator entry(paths::toHost(directory).text(), error);
    if (error)
        fail(directory, error);
    std::vector<std::string> names;
    while (entry != std::filesystem::directory_iterator()) {
        // Of a dangling link nothing is known. Not asked of the entry: see docs/year-2038.md.
        if (S_ISREG(posix::FileStamp::of(posix::HostPath(entry->path().string())).mode))
            names.push_back(entry->path().filename().string());
        entry.increment(error);
        if (error)
            fail(directory, error);
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// "5ed36f99.0": a link in a certificate directory by which the library itself finds a file.
bool isHashLink(const std::string& name) {
    constexpr std::size_t HASH_DIGITS = 8;
    return name.size() > HASH_DIGITS + 1 && name[HASH_DIGITS] == '.' &&
           name.find_first_not_of("0123456789abcdef") == HASH_DIGITS &&
           name.find_first_not_of("0123456789", HASH_DIGITS + 1) == std::string::npos;
}

std::optional<std::string> readFile(const std::string& path) {
    try {
        return filesystem::read(path, MAX_FILE_BYTES);
    } catch (const std::exception& exception) {
        LOG(2) << "Certificate file passed over: " << exception.what();
        return std::nullopt;
    }
}

CertificateFile readCertificates(const std::string& directory, const std::string& name) {
    CertificateFile file{name, {}};
    const std::string path = directory + (directory.ends_with('/') ? "" : "/") + name;
    const std::optional<std::string> content = readFile(path);
    if (!content)
        return file;
    const char* reason = nullptr;
    for (const X509Ptr& certificate : x509::parse(*content)) {
        const char* const why = x509::whyUnusable(certificate.get());
        if (why != nullptr) {
            reason = why;
            continue;
        }
        file.entries.push_back(
            {name, x509::fingerprint(certificate.get()), x509::toPem(certificate.get())});
    }
    if (file.entries.empty() && reason != nullptr) {
        LOG(2) << "Certificate " << quote(path) << " passed over: " << reason;
    }
    return file;
}

bool isPreferred(const CertificateFile& left, const CertificateFile& right) {
    return std::make_tuple(isHashLink(left.name), left.entries.size(), std::cref(left.name)) <
           std::make_tuple(isHashLink(right.name), right.entries.size(), std::cref(right.name));
}

} // namespace

std::vector<BundleEntry> readCertificateDirectory(const std::string& directory) {
    std::vector<CertificateFile> files;
    for (const std::string& name : listFiles(directory))
        files.push_back(readCertificates(directory, name));
    std::sort(files.begin(), files.end(), isPreferred);

    std::vector<BundleEntry> result;
    std::set<std::string> known;
    for (CertificateFile& file : files) {
        for (BundleEntry& entry : file.entries) {
            if (known.insert(entry.fingerprint).second)
                result.push_back(std::move(entry));
        }
    }
    std::stable_sort(result.begin(), result.end(),
                     [](const BundleEntry& left, const BundleEntry& right) {
                         return left.fileName < right.fileName;
                     });
    return result;
}

} // namespace security
