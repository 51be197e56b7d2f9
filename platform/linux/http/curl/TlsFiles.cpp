// SPDX-License-Identifier: Apache-2.0
#include "TlsFiles.h"

#include "root/Root.h"

#include <sys/stat.h>

#include <sstream>
#include <stdexcept>

namespace http {

namespace {

std::string identityOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return path + "|-|";
    std::ostringstream text;
    text << path << '|' << status.st_dev << '|' << status.st_ino << '|' << status.st_size << '|'
         << status.st_mtim.tv_sec << '.' << status.st_mtim.tv_nsec << '|' << status.st_ctim.tv_sec
         << '.' << status.st_ctim.tv_nsec << '|';
    return text.str();
}

} // namespace

TlsFiles TlsFiles::of(const HttpRequest& request, bool encrypted) {
    TlsFiles files;
    if (request.caBundlePath.empty())
        throw std::runtime_error("no trusted certificates are configured");
    files.caBundle = root::toHost(request.caBundlePath).text();
    struct stat status {};
    if (::stat(files.caBundle.c_str(), &status) != 0)
        throw std::runtime_error("no trusted certificates are installed, so no server is trusted");
    files.fingerprint = identityOf(files.caBundle);
    if (!request.clientIdentity)
        return files;
    const ClientIdentity& identity = *request.clientIdentity;
    const std::string certificate = root::toHost(identity.certificatePath).text();
    const std::string key = root::toHost(identity.keyPath).text();
    // The same for every request, so that plain ones use the sessions of encrypted ones.
    files.fingerprint += identityOf(certificate) + identityOf(key);
    if (encrypted) {
        files.clientCertificate = certificate;
        files.clientKey = key;
        files.clientKeyPassword = identity.password;
    }
    return files;
}

} // namespace http
