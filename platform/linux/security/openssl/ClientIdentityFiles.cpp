// SPDX-License-Identifier: Apache-2.0
#include "ClientIdentityFiles.h"

#include "filesystem/Filesystem.h"
#include "logger/Logger.h"
#include "paths/Paths.h"
#include "text/Quote.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace security {

namespace {

constexpr const char* CERTIFICATE = "/data/certs/client/user_cert.pem";
constexpr const char* KEY = "/data/certs/client/user_key.pem";
constexpr const char* PASSWORD = "/data/certs/client/user_pass.txt";
constexpr const char* LAST_PAIR = "/data/certs/client/last_pair.pem";
/// In the order of their stamps.
enum File : std::size_t { CERTIFICATE_FILE, KEY_FILE, PASSWORD_FILE, LAST_PAIR_FILE };
constexpr std::array PATHS{CERTIFICATE, KEY, PASSWORD, LAST_PAIR};

constexpr unsigned long long MAX_FILE_BYTES = 4ULL << 20U;
constexpr unsigned long long MAX_PASSWORD_BYTES = 64ULL << 10U;

http::Secret readSecret(const char* path, unsigned long long maxBytes) {
    return filesystem::read(path, maxBytes);
}

/// Throws std::runtime_error when a file cannot be read.
ClientPair readInstalled(const posix::FileStamp& password) {
    const std::string certificates = filesystem::read(CERTIFICATE, MAX_FILE_BYTES);
    const http::Secret key = readSecret(KEY, MAX_FILE_BYTES);
    return {certificates, key.text(),
            password.isMissing() ? http::Secret() : readSecret(PASSWORD, MAX_PASSWORD_BYTES)};
}

/// The installed pair; nothing when it cannot be used, and then the reason says why.
std::optional<ClientPair> findInstalled(const posix::FileStamp& password, std::string& reason) {
    try {
        ClientPair pair = readInstalled(password);
        const ClientPair::Problems problems = pair.problems();
        if (!problems.ofCertificate.empty())
            reason = quote(CERTIFICATE) + " cannot be used: " + problems.ofCertificate;
        else if (!problems.ofKey.empty())
            reason = quote(KEY) + " cannot be used: " + problems.ofKey;
        else
            return pair;
    } catch (const std::runtime_error& error) {
        reason = error.what();
    }
    return std::nullopt;
}

std::optional<ClientPair> findLast(const posix::FileStamp& lastPair) {
    if (lastPair.isMissing())
        return std::nullopt;
    try {
        ClientPair pair = ClientPair::fromText(readSecret(LAST_PAIR, 2 * MAX_FILE_BYTES));
        if (pair.isUsable())
            return pair;
        LOG(2) << "The kept client certificate " << quote(LAST_PAIR) << " cannot be used";
    } catch (const std::runtime_error& error) {
        LOG(2) << "The kept client certificate cannot be used: " << error.what();
    }
    return std::nullopt;
}

/// False when the pair could not be kept.
bool keep(const ClientPair& pair) {
    try {
        const http::Secret text = pair.toText();
        if (text.empty())
            throw std::runtime_error("they cannot be written as PEM");
        filesystem::write(LAST_PAIR, text.text(), filesystem::PRIVATE_FILE);
        return true;
    } catch (const std::runtime_error& error) {
        LOG(2) << "The client certificate and key are not kept for a renewal that fails: "
               << error.what();
        return false;
    }
}

void removeLast(const posix::FileStamp& lastPair) {
    if (lastPair.isMissing())
        return;
    std::error_code error;
    std::filesystem::remove(paths::toHost(LAST_PAIR).text(), error);
    if (error) {
        LOG(2) << "Removing " << quote(LAST_PAIR) << " failed: " << error.message();
    }
}

} // namespace

std::optional<http::ClientIdentity> ClientIdentityFiles::offered() {
    if (const std::optional<Answer> answer = known(stampsNow()))
        return *answer;
    const std::lock_guard turn(looking_);
    // Taken before the files are read: what changes in between is seen next time.
    Stamps stamps = stampsNow();
    if (const std::optional<Answer> answer = known(stamps))
        return *answer; // another thread has looked
    Answer answer = look(stamps);
    stamps[LAST_PAIR_FILE] =
        posix::FileStamp::of(paths::toHost(LAST_PAIR)); // looking may have changed it
    known_.set({stamps, answer});
    return answer;
}

ClientIdentityFiles::Stamps ClientIdentityFiles::stampsNow() {
    static_assert(PATHS.size() == FILES);
    Stamps stamps;
    for (std::size_t file = 0; file < FILES; ++file)
        stamps[file] = posix::FileStamp::of(paths::toHost(PATHS[file]));
    return stamps;
}

ClientIdentityFiles::Answer ClientIdentityFiles::look(const Stamps& stamps) {
    const bool noCertificate = stamps[CERTIFICATE_FILE].isMissing();
    const bool noKey = stamps[KEY_FILE].isMissing();
    if (noCertificate || noKey) {
        removeLast(stamps[LAST_PAIR_FILE]);
        if (noCertificate != noKey) {
            LOG(2) << "No client certificate is offered: " << quote(noKey ? KEY : CERTIFICATE)
                   << " is missing";
        }
        return std::nullopt;
    }
    for (const File secret : {KEY_FILE, PASSWORD_FILE})
        exposed_.look(PATHS[secret], stamps[secret]);
    std::string reason;
    const std::optional<ClientPair> installed = findInstalled(stamps[PASSWORD_FILE], reason);
    const std::optional<ClientPair> last = findLast(stamps[LAST_PAIR_FILE]);
    if (!installed) {
        LOG(2) << (last ? "The previous client certificate is still offered: "
                        : "No client certificate is offered: ")
               << reason;
        return last ? Answer({LAST_PAIR, LAST_PAIR, last->password()}) : std::nullopt;
    }
    if ((last && *last == *installed) || keep(*installed))
        return http::ClientIdentity{LAST_PAIR, LAST_PAIR, installed->password()};
    return http::ClientIdentity{CERTIFICATE, KEY, installed->password()};
}

std::optional<ClientIdentityFiles::Answer> ClientIdentityFiles::known(const Stamps& stamps) const {
    const auto known = known_.lock();
    if (known->stamps != stamps)
        return std::nullopt;
    return std::optional<Answer>(std::in_place, known->answer);
}

} // namespace security
