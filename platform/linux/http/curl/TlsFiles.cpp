// SPDX-License-Identifier: Apache-2.0
#include "TlsFiles.h"

#include "paths/Paths.h"

#include <stdexcept>

namespace http {

TlsFiles TlsFiles::of(const HttpRequest& request, bool encrypted) {
    if (request.caBundlePath.empty())
        throw std::runtime_error("no trusted certificates are configured");
    TlsFiles files;
    const auto add = [&](const std::string& phonePath) {
        posix::HostPath path = paths::toHost(phonePath);
        files.fingerprint.emplace_back(path, posix::FileStamp::of(path));
        return path;
    };
    files.caBundle = add(request.caBundlePath);
    if (!files.fingerprint.front().second.id.isFile)
        throw std::runtime_error("no trusted certificates are installed, so no server is trusted");
    if (!request.clientIdentity)
        return files;
    const ClientIdentity& identity = *request.clientIdentity;
    // Part of every request's fingerprint, so that plain ones use the sessions of encrypted ones.
    const posix::HostPath certificate = add(identity.certificatePath);
    const posix::HostPath key = add(identity.keyPath);
    if (encrypted) {
        files.clientCertificate = certificate;
        files.clientKey = key;
        files.clientKeyPassword = identity.password;
    }
    return files;
}

} // namespace http
