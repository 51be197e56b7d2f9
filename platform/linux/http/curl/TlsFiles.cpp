#include "TlsFiles.h"

#include "Root.h"

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

TlsFiles TlsFiles::of(const HttpRequest& request) {
    TlsFiles files;
    if (request.caBundlePath.empty())
        throw std::runtime_error("no trusted certificates are configured");
    files.caBundle = root::toHost(request.caBundlePath);
    struct stat status {};
    if (::stat(files.caBundle.c_str(), &status) != 0)
        throw std::runtime_error("no trusted certificates are installed, so no server is trusted");
    files.fingerprint = identityOf(files.caBundle);
    if (request.clientIdentity) {
        files.clientCertificate = root::toHost(request.clientIdentity->certificatePath);
        files.clientKey = root::toHost(request.clientIdentity->keyPath);
        files.clientKeyPassword = request.clientIdentity->password;
        files.fingerprint += identityOf(files.clientCertificate) + identityOf(files.clientKey);
    }
    return files;
}

} // namespace http
