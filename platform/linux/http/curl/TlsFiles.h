// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/IRestApi.h"
#include "http/Secret.h"
#include "posix/FileStamp.h"
#include "posix/HostPath.h"

#include <utility>
#include <vector>

namespace http {

/// The files that decide whom an encrypted connection (to a server or a proxy) trusts and as whom
/// it presents itself.
struct TlsFiles {
    using Fingerprint = std::vector<std::pair<posix::HostPath, posix::FileStamp>>;

    posix::HostPath caBundle;
    posix::HostPath clientCertificate; ///< empty: none is offered
    posix::HostPath clientKey;
    Secret clientKeyPassword;
    /// Differs as soon as one of the files is another one or was replaced. What was verified with
    /// other files (connections, TLS sessions) must not be used.
    Fingerprint fingerprint;

    bool offersClientCertificate() const { return !clientCertificate.text().empty(); }

    /// encrypted: the connection to the server is; only then a client certificate is presented.
    /// Throws std::runtime_error with one clause when there are no trusted certificates or a path
    /// is refused.
    static TlsFiles of(const HttpRequest& request, bool encrypted);
};

} // namespace http
