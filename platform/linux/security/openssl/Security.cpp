// SPDX-License-Identifier: Apache-2.0
#include "http/Security.h"

#include "CaBundle.h"
#include "Certificate.h"
#include "CertificateDirectory.h"
#include "ClientIdentityFiles.h"
#include "PrivateKey.h"
#include "SavedFile.h"
#include "X509Text.h"
#include "common/Guarded.h"
#include "filesystem/Filesystem.h"
#include "http/Secret.h"
#include "logger/Logger.h"
#include "paths/Paths.h"
#include "text/Quote.h"

#include <map>
#include <mutex>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

namespace http {

namespace {

constexpr const char* BUNDLE = "/data/certs/ca-bundle.pem";
constexpr unsigned long long MAX_FILE_BYTES = 4ULL << 20U;

using Operations = ISecurity::CertificateOperations;
using Names = std::map<std::string, std::string>;

/// File names by fingerprint of what the bundle holds now.
Names readBundle() {
    try {
        return security::parseBundle(filesystem::read(BUNDLE));
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::no_such_file_or_directory)
            return {};
        throw;
    }
}

/// The operations that lead from one bundle to the next: removals first, so that the last word on a
/// file whose certificate was replaced is "Accept".
Operations compare(const Names& before, const std::vector<security::BundleEntry>& after) {
    std::set<std::string> kept;
    std::set<std::string> accepted;
    for (const security::BundleEntry& entry : after) {
        kept.insert(entry.fingerprint);
        if (before.count(entry.fingerprint) == 0)
            accepted.insert(entry.fileName);
    }
    std::set<std::string> removed;
    for (const auto& [fingerprint, name] : before) {
        if (kept.count(fingerprint) == 0 && !name.empty())
            removed.insert(name);
    }
    Operations operations;
    for (const std::string& name : removed)
        operations.emplace_back("Remove", name);
    for (const std::string& name : accepted)
        operations.emplace_back("Accept", name);
    return operations;
}

/// Null: one of the certificates is usable as trusted; otherwise what is wrong with the first.
const char* whyUnusable(std::string_view content) {
    const char* reason = nullptr;
    for (const security::X509Ptr& certificate : security::x509::parse(content)) {
        const char* const why = security::x509::whyUnusable(certificate.get());
        if (why == nullptr)
            return nullptr;
        if (reason == nullptr)
            reason = why;
    }
    return reason == nullptr ? security::x509::NO_CERTIFICATE : reason;
}

void logProblem(const char* what, const std::string& path, const char* problem) {
    if (problem != nullptr) {
        LOG(2) << what << " " << quote(path) << " is not usable: " << problem;
    }
}

} // namespace

struct Security::Impl {
    /// An operation replaces an equal earlier one: the list does not grow without bound while
    /// it is not read, and its last word on a file is right.
    void note(const Operations& found) {
        const auto list = operations.lock();
        for (const auto& operation : found) {
            std::erase(*list, operation);
            list->push_back(operation);
        }
    }

    common::Guarded<Operations> operations;
    std::mutex
        rebuilding; ///< serialises rebuilds: each compares with the bundle of the previous one
    security::ClientIdentityFiles clientIdentity;
};

// This service keeps everything in files. On other phones it reads settings from the property
// store, which is therefore part of its interface.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
Security::Security(std::shared_ptr<propertyapi::IPropertyApi> /*propertyApi*/)
    : impl_(std::make_unique<Impl>()) {}

Security::~Security() = default;

bool Security::checkCertificate(const std::string& path) const {
    paths::check(path);
    std::string content;
    try {
        content = filesystem::read(path, MAX_FILE_BYTES);
    } catch (const std::exception& exception) {
        LOG(2) << "Certificate is not usable: " << exception.what();
        return false;
    }
    const char* const problem = whyUnusable(content);
    logProblem("Certificate", path, problem);
    return problem == nullptr;
}

void Security::updateCaBundle(const std::string& directory) {
    const std::lock_guard turn(impl_->rebuilding);
    const Names before = readBundle();
    const std::vector<security::BundleEntry> after = security::readCertificateDirectory(directory);
    security::makeDirectoryOf(BUNDLE);
    filesystem::write(BUNDLE, security::formatBundle(after), filesystem::PUBLIC_FILE);
    impl_->note(compare(before, after));
}

Security::CertificateOperations Security::takeCertificateOperations() {
    return std::exchange(*impl_->operations.lock(), {});
}

std::string Security::getCaBundlePath() const {
    return BUNDLE;
}

std::optional<ClientIdentity> Security::getClientIdentity() const {
    return impl_->clientIdentity.offered();
}

std::shared_ptr<ICertificate> Security::loadCertificate(const std::string& path) const {
    auto certificate =
        std::make_shared<security::Certificate>(filesystem::read(path, MAX_FILE_BYTES));
    logProblem("Certificate", path, certificate->whyInvalid());
    return certificate;
}

std::shared_ptr<IPrivateKey> Security::loadPrivateKey(const std::string& path,
                                                      const std::string& password) const {
    const Secret content = filesystem::read(path, MAX_FILE_BYTES);
    auto key = std::make_shared<security::PrivateKey>(content.text(), password);
    logProblem("Private key", path, key->whyInvalid());
    return key;
}

} // namespace http
