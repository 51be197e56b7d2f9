// SPDX-License-Identifier: Apache-2.0
#include "dto/SysConf.h"

namespace dto::SysConf {

void ModifyCertificates::init(const std::vector<std::pair<std::string, std::string>>& operations) {
    certificates.clear();
    certificates.reserve(operations.size());
    for (const auto& [operation, name] : operations)
        certificates.push_back({operation, name});
}

ipc::IpcMsgParams toMsgParams(const ModifyCertificates& record) {
    Json::Value list(Json::arrayValue);
    for (const CertificateOperation& certificate : record.certificates) {
        Json::Value entry(Json::objectValue);
        entry["operation"] = certificate.operation;
        entry["name"] = certificate.name;
        list.append(std::move(entry));
    }
    ipc::IpcMsgParams params;
    params.add("certificates", list);
    return params;
}

} // namespace dto::SysConf
