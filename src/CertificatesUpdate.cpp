// SPDX-License-Identifier: Apache-2.0
#include "CertificatesUpdate.h"

#include "Vocabulary.h"
#include "ipc/IPCMessage.h"

#include <cstddef>

namespace ovo {

namespace {

using Operations = std::vector<dto::SysConf::CertificateOperation>;

/// Halves a list that does not fit into a message; a single operation always fits.
void publish(ipc::IIPCPublisher& publisher, Operations operations) {
    const ipc::IPCMessage message(bus::messages::MODIFY_CERTIFICATES,
                                  dto::SysConf::toMsgParams({operations}), false);
    if (operations.size() == 1 || ipc::encode(message).size() <= ipc::LARGEST_PAYLOAD) {
        publisher.publish(bus::destinations::SYSTEM_CONFIGURATION, message);
        return;
    }
    const auto middle = operations.begin() + static_cast<std::ptrdiff_t>(operations.size() / 2);
    publish(publisher, Operations(operations.begin(), middle));
    publish(publisher, Operations(middle, operations.end()));
}

} // namespace

void publishCertificatesUpdate(ipc::IIPCPublisher& publisher,
                               const dto::SysConf::ModifyCertificates& record) {
    if (!record.certificates.empty())
        publish(publisher, record.certificates);
}

} // namespace ovo
