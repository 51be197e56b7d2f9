// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/ISecurity.h"
#include "http/UrlInfo.h"
#include "http/curl/Proxy.h"
#include "posix/HostPath.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace ovoctl {

/// A certificate on the way from a server to one that the phone trusts.
struct ChainCertificate {
    enum class Origin {
        SENT,    ///< by the server
        TRUSTED, ///< the phone's own
        SURPLUS, ///< sent, but not on the way
    };

    std::string subject;
    std::string issuer;
    std::string begin; ///< dates, UTC
    std::string end;
    Origin origin = Origin::SENT;
    std::string problem; ///< why it is not accepted; empty: it is
    std::string cure;    ///< empty for a problem: its issuer is not trusted
};

/// A server's certificates in the order of the check, its own first.
struct ServerChain {
    std::vector<ChainCertificate> certificates; ///< empty: the handshake failed
    std::string problem;                        ///< why
};

/// Shakes hands with a server, through the proxy where there is one, without requesting anything,
/// and judges its certificates as the web client does, but goes on after the first problem.
/// caBundle: empty where nothing is trusted.
ServerChain fetchChain(const http::UrlInfo& url, const std::optional<http::Proxy>& proxy,
                       const std::optional<http::ClientIdentity>& identity,
                       const posix::HostPath& caBundle, std::chrono::milliseconds longest);

} // namespace ovoctl
