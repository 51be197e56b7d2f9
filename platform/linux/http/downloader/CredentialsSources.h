// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/ICredentialsProvider.h"
#include "http/Secret.h"
#include "http/UrlInfo.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace http {

/// User name and password; never one without the other.
struct Credentials {
    std::string user;
    Secret password;
    bool typedIn = false; ///< by the user, on the phone's screen

    bool sameAs(const Credentials& other) const {
        return user == other.user && password == other.password;
    }
};

/// The credentials that one download may try, in order: those in its URL (percent escapes decoded),
/// the stored ones, the factory ones, those typed in on the phone's screen. A source is asked once,
/// and only when its turn has come. Credentials are skipped that have an empty user name or
/// password or a control character, or that were given out before.
class CredentialsSources {
public:
    /// provider: empty where there are no credentials but those in the URL.
    CredentialsSources(const UrlInfo& url, std::shared_ptr<ICredentialsProvider> provider);

    /// The next ones; nothing when all sources have been asked. Exceptions of the provider pass
    /// through.
    std::optional<Credentials> next();
    /// True when some were given out.
    bool anyTried() const { return !tried_.empty(); }

private:
    using Source = Credentials (CredentialsSources::*)();
    static const std::array<Source, 4> ORDER;

    Credentials fromUrl();
    Credentials fromStore();
    Credentials fromFactory();
    Credentials fromScreen();
    bool worthTrying(const Credentials& credentials) const;

    Credentials inUrl_;
    std::shared_ptr<ICredentialsProvider> provider_;
    std::size_t asked_ = 0;
    std::vector<Credentials> tried_;
};

} // namespace http
