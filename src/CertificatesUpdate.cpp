#include "CertificatesUpdate.h"

#include "ipc/IPCMessage.h"

namespace ovo {

void publishCertificatesUpdate(ipc::IIPCPublisher& publisher,
                               const dto::SysConf::ModifyCertificates& record) {
    if (record.certificates.empty())
        return;
    publisher.publish(
        "prov-client/sysconf",
        ipc::IPCMessage("MODIFY_CERTIFICATES", dto::SysConf::toMsgParams(record), false));
}

} // namespace ovo
