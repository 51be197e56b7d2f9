// SPDX-License-Identifier: Apache-2.0
#include "ServerDigest.h"

#include <openssl/evp.h>

#include <map>
#include <utility>

namespace {

constexpr const char* REALM = "test realm";
constexpr const char* NONCE = "0123456789abcdef";

std::string md5(const std::string& text) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    ::EVP_Digest(text.data(), text.size(), digest, &size, ::EVP_md5(), nullptr);
    static constexpr const char* DIGITS = "0123456789abcdef";
    std::string result;
    for (unsigned int position = 0; position < size; ++position) {
        result += DIGITS[digest[position] >> 4U];
        result += DIGITS[digest[position] & 15U];
    }
    return result;
}

/// The fields after "Digest ".
std::map<std::string, std::string> fields(const std::string& authorization) {
    std::map<std::string, std::string> result;
    for (std::size_t at = std::string("Digest ").size(); at < authorization.size();) {
        const auto equals = authorization.find('=', at);
        if (equals == std::string::npos)
            break;
        const bool quoted = authorization[equals + 1] == '"';
        const auto begin = equals + (quoted ? 2 : 1);
        const auto end =
            std::min(authorization.find(quoted ? '"' : ',', begin), authorization.size());
        result[authorization.substr(at, equals - at)] = authorization.substr(begin, end - begin);
        at = authorization.find_first_not_of("\", ", end);
        if (at == std::string::npos)
            break;
    }
    return result;
}

} // namespace

ServerDigest::ServerDigest(std::string user, std::string password)
    : user_(std::move(user)), password_(std::move(password)) {}

std::string ServerDigest::challenge(bool stale) const {
    return std::string("WWW-Authenticate: Digest realm=\"") + REALM + "\", nonce=\"" + NONCE +
           "\", qop=\"auth\"" + (stale ? ", stale=true" : "") + "\r\n";
}

bool ServerDigest::accepts(const HttpServer::Request& request) const {
    const std::string authorization = request.header("authorization");
    if (authorization.rfind("Digest ", 0) != 0)
        return false;
    auto field = fields(authorization);
    const std::string secret = md5(user_ + ":" + REALM + ":" + password_);
    const std::string action = md5(request.method + ":" + request.target);
    const std::string expected =
        md5(secret + ":" + NONCE + ":" + field["nc"] + ":" + field["cnonce"] + ":auth:" + action);
    return field["username"] == user_ && field["nonce"] == NONCE && field["response"] == expected;
}
