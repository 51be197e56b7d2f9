// SPDX-License-Identifier: Apache-2.0
#include "TlsChecks.h"

#include "Directories.h"
#include "Examination.h"
#include "ServerChain.h"
#include "filesystem/Filesystem.h"
#include "http/Secret.h"
#include "ovoctl/support/FileMode.h"
#include "paths/Paths.h"
#include "security/openssl/ClientPair.h"
#include "security/openssl/X509Text.h"
#include "text/Ascii.h"

#include <stdexcept>

namespace ovoctl {

namespace {

using ovo::Files;
using posix::FileStamp;
using posix::HostPath;
using security::ClientPair;

constexpr const char* TRUSTED = "trusted certificates";
constexpr const char* CLIENT = "client certificate";
constexpr const char* TLS = "TLS";
constexpr const char* LAST_PAIR = "/data/certs/client/last_pair.pem";
constexpr unsigned long long MAX_FILE_BYTES = 4ULL << 20U;
constexpr unsigned long long MAX_PASSWORD_BYTES = 64ULL << 10U;
constexpr const char* INSTALL_TRUSTED =
    "put the certificate of the server's authority into /etc/ssl/certs below the root; the daemon "
    "builds the bundle of them";

bool isMissing(const std::string& phonePath) {
    return FileStamp::of(paths::toHost(phonePath)).isMissing();
}

bool isThere(const std::string& phonePath) {
    return !isMissing(phonePath);
}

ClientPair installedPair(const http::Secret& password) {
    const std::string certificates = filesystem::read(Files::CLIENT_CERTIFICATE, MAX_FILE_BYTES);
    const http::Secret key = filesystem::read(Files::CLIENT_KEY, MAX_FILE_BYTES);
    return {certificates, key.text(), password};
}

/// Why the installed pair cannot be used; empty: it can, and is what is offered.
std::string whyUnusable(Examination& examination) {
    try {
        http::Secret password;
        if (isThere(Files::CLIENT_KEY_PASSWORD))
            password = filesystem::read(Files::CLIENT_KEY_PASSWORD, MAX_PASSWORD_BYTES);
        const ClientPair::Problems problems = installedPair(password).problems();
        if (!problems.ofCertificate.empty())
            return paths::toHost(Files::CLIENT_CERTIFICATE).text() + ": " + problems.ofCertificate;
        if (!problems.ofKey.empty())
            return paths::toHost(Files::CLIENT_KEY).text() + ": " + problems.ofKey;
        examination.clientIdentity =
            http::ClientIdentity{Files::CLIENT_CERTIFICATE, Files::CLIENT_KEY, password};
        return {};
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

/// True when there is a pair that matched before; then it is what is offered.
bool offersLastPair(Examination& examination) {
    if (isMissing(LAST_PAIR))
        return false;
    const ClientPair pair =
        ClientPair::fromText(http::Secret(filesystem::read(LAST_PAIR, 2 * MAX_FILE_BYTES)));
    if (!pair.isUsable())
        return false;
    examination.clientIdentity = http::ClientIdentity{LAST_PAIR, LAST_PAIR, pair.password()};
    return true;
}

/// True when all of them are closed to others.
bool examineModes(Examination& examination) {
    for (const std::string& file : {Files::CLIENT_KEY, Files::CLIENT_KEY_PASSWORD}) {
        const HostPath path = paths::toHost(file);
        const FileStamp stamp = FileStamp::of(path);
        if (stamp.error == 0 && isOpenToOthers(stamp)) {
            examination.warn(CLIENT, path.text() + " is open to others: mode " + modeOf(stamp),
                             "set its mode to 0600");
            return false;
        }
    }
    return true;
}

bool isUrlEncrypted(const Examination& examination) {
    return ascii::equalsIgnoringCase(examination.url->scheme, "https");
}

/// An error, unless the server does without encryption.
void reportNoneTrusted(Examination& examination, const std::string& why) {
    const std::string what = why + ": no encrypted server would be trusted";
    if (examination.url && !isUrlEncrypted(examination))
        examination.fine(TRUSTED, what);
    else
        examination.fail(TRUSTED, what, INSTALL_TRUSTED);
}

std::string describe(const ChainCertificate& certificate) {
    return "subject " + certificate.subject + ", issuer " + certificate.issuer + ", from " +
           certificate.begin + " to " + certificate.end +
           (certificate.origin == ChainCertificate::Origin::TRUSTED   ? " (trusted by the phone)"
            : certificate.origin == ChainCertificate::Origin::SURPLUS ? " (sent, and not needed)"
                                                                      : "");
}

void report(Examination& examination, const ServerChain& chain) {
    std::size_t number = 0;
    bool isGood = true;
    for (const ChainCertificate& certificate : chain.certificates) {
        const std::string check = "TLS certificate " + std::to_string(++number);
        if (certificate.problem.empty())
            examination.fine(check, describe(certificate));
        else
            examination.fail(check, describe(certificate) + ": " + certificate.problem,
                             certificate.cure.empty() ? INSTALL_TRUSTED : certificate.cure);
        isGood = isGood && certificate.problem.empty();
    }
    if (isGood)
        examination.fine(TLS, "the phone trusts the chain, and it is for this host");
    else
        examination.fail(TLS, "the phone does not trust the server", "see the certificates above");
}

} // namespace

void checkTrustedCertificates(Examination& examination) {
    const HostPath path = paths::toHost(CA_BUNDLE);
    if (FileStamp::of(path).isMissing()) {
        reportNoneTrusted(examination, path.text() + " does not exist");
        return;
    }
    try {
        const auto certificates = security::x509::parse(filesystem::read(CA_BUNDLE));
        std::size_t outdated = 0;
        for (const security::X509Ptr& certificate : certificates)
            outdated += security::x509::whyNotNow(certificate.get()) == nullptr ? 0U : 1U;
        const std::string count = path.text() + " holds " + std::to_string(certificates.size());
        if (certificates.size() == outdated)
            reportNoneTrusted(examination, certificates.empty()
                                               ? count + " certificates"
                                               : count + ", none within its dates");
        else
            examination.fine(TRUSTED, count);
        examination.hasTrustedCertificates = !certificates.empty();
    } catch (const std::runtime_error& error) {
        examination.fail(TRUSTED, path.text() + ": " + error.what(), INSTALL_TRUSTED);
    }
}

void checkClientCertificate(Examination& examination) {
    const bool noCertificate = isMissing(Files::CLIENT_CERTIFICATE);
    const bool noKey = isMissing(Files::CLIENT_KEY);
    if (noCertificate && noKey) {
        examination.fine(CLIENT, "none is installed");
        return;
    }
    if (noCertificate || noKey) {
        examination.fail(
            CLIENT,
            paths::toHost(noKey ? Files::CLIENT_KEY : Files::CLIENT_CERTIFICATE).text() +
                " is missing: none is offered",
            "install certificate and key, or remove both");
        return;
    }
    const std::string problem = whyUnusable(examination);
    if (!problem.empty()) {
        const std::string cure = "install a certificate and the key that belongs to it";
        if (offersLastPair(examination))
            examination.warn(CLIENT, problem + " (the previous pair is still offered)", cure);
        else
            examination.fail(CLIENT, problem + ": none is offered", cure);
    } else if (examineModes(examination)) {
        examination.fine(CLIENT, "certificate and key belong together");
    }
}

void checkServerCertificates(Examination& examination) {
    if (!examination.url) {
        examination.skip(TLS, "there is no usable URL");
        return;
    }
    if (!isUrlEncrypted(examination)) {
        examination.fine(TLS, "not used by this URL");
        return;
    }
    if (!examination.isConnected) {
        examination.skip(TLS, "there is no connection");
        return;
    }
    const ServerChain chain =
        fetchChain(*examination.url, examination.proxy, examination.clientIdentity,
                   examination.hasTrustedCertificates ? paths::toHost(CA_BUNDLE) : HostPath(),
                   Examination::TIME_LIMIT);
    if (chain.certificates.empty())
        examination.fail(TLS, "no handshake: " + chain.problem,
                         "let the server speak TLS 1.2 or newer at this port; the answer below may "
                         "tell more");
    else
        report(examination, chain);
}

} // namespace ovoctl
