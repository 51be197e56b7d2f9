// SPDX-License-Identifier: Apache-2.0
#include "NeighbourTable.h"

namespace simulator {

const char* const SYSTEM_CONFIGURATION = "sysconf";

namespace {

constexpr const char* NETWORK_MANAGER = "netmgr";
constexpr const char* USER_INTERFACE = "phone-ui";
constexpr const char* SIP_CLIENT = "sip-client";

constexpr const char* READY_QUESTION = "AreYouReady";
constexpr const char* CREDENTIALS_QUESTION = "GetHttpCredentials";
constexpr const char* STATUS = "provisioningStatus";
constexpr const char* TLS_UPDATE = "update_tls_security";
constexpr const char* CERTIFICATES = "MODIFY_CERTIFICATES";

/// A message that is only shown.
Reaction shown(std::string message) {
    return {std::move(message)};
}

/// alias: the name under which the daemon knows the neighbour in this message.
Reaction saysWhetherReady(const Readiness& readiness, const std::string& neighbour,
                          const std::string& alias) {
    return {.message = READY_QUESTION, .answer = [&readiness, neighbour, alias](const auto&) {
                ipc::IpcMsgParams params;
                params.add("name", alias);
                params.add("value", readiness.isReady(neighbour));
                return params;
            }};
}

Reaction typesCredentials(const std::optional<Credentials>& credentials) {
    return {.message = CREDENTIALS_QUESTION,
            .send = [credentials](const auto&) -> std::optional<ipc::IpcMsgParams> {
                if (!credentials)
                    return std::nullopt;
                ipc::IpcMsgParams params;
                params.add("username", credentials->user);
                params.add("password", credentials->password);
                return params;
            },
            .sentMessage = "HttpCredentialsEntered",
            .whyNothingSent = "nobody types credentials in: --http-user and --http-password are "
                              "not given"};
}

Reaction modifiesCertificates(const TrustedCertificates& certificates) {
    return {.message = CERTIFICATES, .act = [&certificates](const ipc::IpcMsgParams& params) {
                certificates.modify(params);
            }};
}

} // namespace

std::vector<std::string> neighbourNames() {
    return {NETWORK_MANAGER, USER_INTERFACE, SIP_CLIENT, SYSTEM_CONFIGURATION};
}

std::vector<std::string> readinessNames() {
    return {NETWORK_MANAGER, USER_INTERFACE};
}

bool hears(const std::string& neighbour, const std::string& message) {
    if (neighbour == NETWORK_MANAGER)
        return message == READY_QUESTION;
    if (neighbour == USER_INTERFACE)
        return message == READY_QUESTION || message == CREDENTIALS_QUESTION;
    if (neighbour == SIP_CLIENT)
        return message == STATUS || message == TLS_UPDATE;
    return neighbour == SYSTEM_CONFIGURATION && message == CERTIFICATES;
}

bool saysSomethingTo(const std::string& message) {
    return message == READY_QUESTION || message == CREDENTIALS_QUESTION;
}

std::vector<NeighbourDescription> neighbourTable(const Readiness& readiness,
                                                 const std::optional<Credentials>& credentials,
                                                 const TrustedCertificates& certificates) {
    return {
        {NETWORK_MANAGER, {saysWhetherReady(readiness, NETWORK_MANAGER, "networkmanager")}},
        {USER_INTERFACE,
         {saysWhetherReady(readiness, USER_INTERFACE, "phoneui"), typesCredentials(credentials)}},
        {SIP_CLIENT, {shown(STATUS), shown(TLS_UPDATE)}},
        {SYSTEM_CONFIGURATION, {modifiesCertificates(certificates)}},
    };
}

} // namespace simulator
