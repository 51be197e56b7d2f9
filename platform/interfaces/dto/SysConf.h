// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/IpcMsgParams.h"

#include <string>
#include <utility>
#include <vector>

/// Records of the system configuration service.
namespace dto::SysConf {

/// An operation on one certificate. operation: "Accept", "Pending", "Invalid" or "Remove";
/// name: the certificate's file name without directory.
struct CertificateOperation {
    std::string operation;
    std::string name;

    bool operator==(const CertificateOperation& other) const = default;
};

/// Body of the message "MODIFY_CERTIFICATES": operations in order.
struct ModifyCertificates {
    std::vector<CertificateOperation> certificates;

    /// Replaces the operations by pairs of (operation, name).
    void init(const std::vector<std::pair<std::string, std::string>>& operations);
};

/// One parameter "certificates": a JSON array of {"operation": TEXT, "name": TEXT}, in order.
ipc::IpcMsgParams toMsgParams(const ModifyCertificates& record);

} // namespace dto::SysConf
