// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "EventPrinter.h"
#include "ipc/IpcMsgParams.h"
#include "propertyapi/IPropertyApi.h"

#include <string>

namespace simulator {

/// The system configuration service's handling of the certificates that provisioning announces: an
/// accepted one moves from the storage of delivered ones to the directory of trusted ones, and the
/// daemon is asked to rebuild its bundle. Store and printer must outlive it.
class TrustedCertificates {
public:
    /// acceptsPending: the user accepts every certificate that needs a decision.
    TrustedCertificates(const propertyapi::IPropertyApi& store, EventPrinter& printer,
                        std::string service, bool acceptsPending);

    /// The parameters of "MODIFY_CERTIFICATES". On the message thread.
    void modify(const ipc::IpcMsgParams& params) const;

private:
    /// True when the certificate has just become a trusted one.
    bool apply(const std::string& operation, const std::string& name) const;
    bool trust(const std::string& name) const;
    void note(const std::string& text) const;

    const propertyapi::IPropertyApi& store_;
    EventPrinter& printer_;
    const std::string service_;
    const bool acceptsPending_;
};

} // namespace simulator
