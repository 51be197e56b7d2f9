// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Reachability.h"
#include "http/ISecurity.h"
#include "http/UrlInfo.h"
#include "http/curl/Proxy.h"
#include "phoneconfig/IPhoneConfig.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ovoctl {

/// One line of an examination, without control characters.
struct ExaminationResult {
    enum class Level { OK, WARNING, ERROR };

    std::string check;
    Level level;
    std::string what;
    std::string cure; ///< empty where there is nothing to do
};

/// "ok", "warning", "error".
const char* wordFor(ExaminationResult::Level level);

/// What the checks of a phone have found so far: the lines, and what later checks build on. A check
/// whose ground is missing says so and goes on. One thread.
class Examination {
public:
    using Sink = std::function<void(const ExaminationResult&)>;

    /// Each check of the network gets that long.
    static constexpr std::chrono::seconds TIME_LIMIT{5};

    /// givenUrl: empty, for the configured server. Lines go to the sink as they come up.
    Examination(std::string givenUrl, Sink sink);

    void fine(const std::string& check, const std::string& what);
    void warn(const std::string& check, const std::string& what, const std::string& cure);
    void fail(const std::string& check, const std::string& what, const std::string& cure);
    /// A check that is not possible, because of an earlier finding.
    void skip(const std::string& check, const std::string& why);
    /// There was neither warning nor error.
    bool isFine() const { return isFine_; }

    std::string property(const std::string& key) const;

    const std::string givenUrl;
    std::map<std::string, std::string> properties;          ///< those that checks need
    std::shared_ptr<phoneconfig::IPhoneConfig> phoneConfig; ///< an empty one at first
    std::optional<http::ClientIdentity> clientIdentity;     ///< what the daemon would offer
    std::optional<http::UrlInfo> url;                       ///< what the daemon would ask for
    std::optional<http::Proxy> proxy;
    std::vector<SocketAddress> addresses; ///< of the server, or its proxy
    bool isStoreReadable = false;
    bool hasTrustedCertificates = false;
    bool isProxyUsable = true;
    bool isConnected = false;

private:
    void add(ExaminationResult result);

    bool isFine_ = true;
    const Sink sink_;
};

} // namespace ovoctl
