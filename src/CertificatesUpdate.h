// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "dto/SysConf.h"
#include "ipc/IIPCPublisher.h"

namespace ovo {

/// Tells the system configuration service what is to be done with certificates
/// ("MODIFY_CERTIFICATES"); an empty record is not sent, and one that is larger than a message may
/// be goes out as several messages, in order. Throws what publishing throws.
void publishCertificatesUpdate(ipc::IIPCPublisher& publisher,
                               const dto::SysConf::ModifyCertificates& record);

} // namespace ovo
