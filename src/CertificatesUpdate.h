// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "dto/SysConf.h"
#include "ipc/IIPCPublisher.h"

namespace ovo {

/// Tells the system configuration service what to do with certificates ("MODIFY_CERTIFICATES"). An
/// empty record is not sent; one that is too large for a message goes out as several messages, in
/// order. Throws the exceptions of publish().
void publishCertificatesUpdate(ipc::IIPCPublisher& publisher,
                               const dto::SysConf::ModifyCertificates& record);

} // namespace ovo
