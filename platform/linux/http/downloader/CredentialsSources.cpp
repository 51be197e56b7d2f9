// SPDX-License-Identifier: Apache-2.0
#include "CredentialsSources.h"

#include "text/Ascii.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <utility>

namespace http {

namespace {

bool holdsControl(const std::string& text) {
    return std::any_of(text.begin(), text.end(), ascii::isControl);
}

/// "user%40home" -> "user@home". What is not an escape stays.
std::string percentDecoded(const std::string& text) {
    std::string result;
    for (std::size_t position = 0; position < text.size(); ++position) {
        unsigned char code = 0;
        const char* digits = text.data() + position + 1;
        if (text[position] == '%' && text.size() - position > 2 &&
            std::from_chars(digits, digits + 2, code, 16).ptr == digits + 2) {
            result += static_cast<char>(code);
            position += 2;
        } else {
            result += text[position];
        }
    }
    return result;
}

/// The provider's text, split at the first ":".
Credentials split(const std::string& text) {
    const auto colon = text.find(':');
    if (colon == std::string::npos)
        return {};
    return {text.substr(0, colon), text.substr(colon + 1)};
}

} // namespace

const std::array<CredentialsSources::Source, 4> CredentialsSources::ORDER = {
    &CredentialsSources::fromUrl,
    &CredentialsSources::fromStore,
    &CredentialsSources::fromFactory,
    &CredentialsSources::fromScreen,
};

CredentialsSources::CredentialsSources(const UrlInfo& url,
                                       std::shared_ptr<ICredentialsProvider> provider)
    : inUrl_{percentDecoded(url.user), percentDecoded(url.password)}
    , provider_(std::move(provider)) {}

std::optional<Credentials> CredentialsSources::next() {
    const std::size_t count = provider_ ? ORDER.size() : 1;
    while (asked_ < count) {
        const Source source = ORDER[asked_];
        ++asked_;
        Credentials credentials = (this->*source)();
        if (worthTrying(credentials)) {
            tried_.push_back(credentials);
            return credentials;
        }
    }
    return std::nullopt;
}

Credentials CredentialsSources::fromUrl() {
    return inUrl_;
}

Credentials CredentialsSources::fromStore() {
    return split(provider_->getHttpCredentials());
}

Credentials CredentialsSources::fromFactory() {
    return split(provider_->getFactoryCredentials());
}

Credentials CredentialsSources::fromScreen() {
    try {
        Credentials credentials = split(provider_->getHttpCredentialsFromPhoneUI());
        credentials.typedIn = true;
        return credentials;
    } catch (const std::logic_error& error) {
        // From a conversion: its text alone says nothing.
        throw std::runtime_error(
            std::string("the configured time to wait for typed-in credentials is not a number: ") +
            error.what());
    }
}

bool CredentialsSources::worthTrying(const Credentials& credentials) const {
    if (credentials.user.empty() || credentials.password.empty() ||
        holdsControl(credentials.user) || holdsControl(credentials.password.text()))
        return false;
    return std::none_of(tried_.begin(), tried_.end(),
                        [&](const Credentials& earlier) { return earlier.sameAs(credentials); });
}

} // namespace http
