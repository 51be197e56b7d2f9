#include "http/Security.h"

#include "CaBundle.h"
#include "Certificate.h"
#include "CertificateDirectory.h"
#include "PrivateKey.h"
#include "Root.h"
#include "SavedFile.h"
#include "X509Text.h"
#include "filesystem/Filesystem.h"
#include "logger/Logger.h"

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <map>
#include <mutex>
#include <set>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace http {

namespace {

constexpr const char* BUNDLE = "/data/certs/ca-bundle.pem";
constexpr const char* CLIENT_CERTIFICATE = "/data/certs/client/user_cert.pem";
constexpr const char* CLIENT_KEY = "/data/certs/client/user_key.pem";
constexpr const char* CLIENT_PASSWORD = "/data/certs/client/user_pass.txt";
constexpr unsigned long long MAX_FILE_BYTES = 4ULL << 20U;
constexpr unsigned long long MAX_PASSWORD_BYTES = 64ULL << 10U;

using Operations = ISecurity::CertificateOperations;
using Names = std::map<std::string, std::string>;

bool isFile(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(root::toHost(path), ignored);
}

/// File names by fingerprint of what the bundle holds now.
Names readBundle() {
    try {
        return parseBundle(filesystem::read(BUNDLE));
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::no_such_file_or_directory)
            return {};
        throw;
    }
}

/// What the step from one bundle to the next one means: first what goes, then what comes, so that a
/// file whose certificate was replaced ends as accepted.
Operations compare(const Names& before, const std::vector<BundleEntry>& after) {
    std::set<std::string> kept;
    std::set<std::string> accepted;
    for (const BundleEntry& entry : after) {
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

} // namespace

struct Security::Impl {
    /// Rebuilds come one after another, each against the bundle of the one before. No lock is held
    /// while one reads and writes its files.
    class Turn {
    public:
        explicit Turn(Impl& impl) : impl_(impl) {
            std::unique_lock lock(impl_.mutex);
            impl_.turnEnded.wait(lock, [this] { return !impl_.rebuilding; });
            impl_.rebuilding = true;
        }
        ~Turn() {
            {
                const std::lock_guard lock(impl_.mutex);
                impl_.rebuilding = false;
            }
            impl_.turnEnded.notify_one();
        }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        Impl& impl_;
    };

    /// An operation takes the place of the same one found before: the list does not grow without
    /// end when nobody reads it, and its last word on a file is right.
    void note(const Operations& found) {
        const std::lock_guard lock(mutex);
        for (const auto& operation : found) {
            std::erase(operations, operation);
            operations.push_back(operation);
        }
    }

    std::mutex mutex;
    std::condition_variable turnEnded;
    bool rebuilding = false;
    Operations operations;
};

// Everything that this service knows lies in files; the property store is part of its interface for
// phones that keep settings of it there.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
Security::Security(std::shared_ptr<propertyapi::IPropertyApi> /*propertyApi*/)
    : impl_(std::make_unique<Impl>()) {}

Security::~Security() = default;

bool Security::checkCertificate(const std::string& path) const {
    root::check(path);
    std::string content;
    try {
        content = filesystem::read(path, MAX_FILE_BYTES);
    } catch (const std::exception& exception) {
        LOG(2) << "Certificate is not usable: " << exception.what();
        return false;
    }
    const std::vector<X509Ptr> certificates = x509::parse(content);
    return std::any_of(certificates.begin(), certificates.end(), [](const X509Ptr& certificate) {
        return x509::whyUnusable(certificate.get()) == nullptr;
    });
}

void Security::updateCaBundle(const std::string& directory) {
    const Impl::Turn turn(*impl_);
    const Names before = readBundle();
    const std::vector<BundleEntry> after = readCertificateDirectory(directory);
    makeDirectoryOf(BUNDLE);
    filesystem::write(BUNDLE, formatBundle(after), filesystem::PUBLIC_FILE);
    impl_->note(compare(before, after));
}

Security::CertificateOperations Security::takeCertificateOperations() {
    const std::lock_guard lock(impl_->mutex);
    return std::exchange(impl_->operations, {});
}

std::string Security::getCaBundlePath() const {
    return BUNDLE;
}

std::optional<ClientIdentity> Security::getClientIdentity() const {
    if (!isFile(CLIENT_CERTIFICATE) || !isFile(CLIENT_KEY))
        return std::nullopt;
    ClientIdentity identity{CLIENT_CERTIFICATE, CLIENT_KEY, {}};
    try {
        identity.password = filesystem::read(CLIENT_PASSWORD, MAX_PASSWORD_BYTES);
    } catch (const std::exception& exception) {
        if (isFile(CLIENT_PASSWORD)) {
            LOG(2) << "No password for the client's private key: " << exception.what();
        }
    }
    return identity;
}

std::shared_ptr<ICertificate> Security::loadCertificate(const std::string& path) const {
    return std::make_shared<Certificate>(filesystem::read(path, MAX_FILE_BYTES));
}

std::shared_ptr<IPrivateKey> Security::loadPrivateKey(const std::string& path,
                                                      const std::string& password) const {
    std::string content = filesystem::read(path, MAX_FILE_BYTES);
    const Wipe wipe(content);
    return std::make_shared<PrivateKey>(content, password);
}

} // namespace http
