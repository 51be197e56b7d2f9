// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "EventPrinter.h"
#include "ipc/IpcMsgParams.h"
#include "propertyapi/IPropertyApi.h"

#include <string>

namespace simulator {

/// What the system configuration service does with the certificates that provisioning announces: an
/// accepted one goes from the storage of delivered ones to the directory of trusted ones, and the
/// daemon is asked to rebuild its bundle. Store and printer must outlive it.
class TrustedCertificates {
public:
    /// acceptsPending: the user says yes to those that he is asked about.
    TrustedCertificates(const propertyapi::IPropertyApi& store, EventPrinter& printer,
                        std::string service, bool acceptsPending);

    /// The parameters of "MODIFY_CERTIFICATES". On the message thread.
    void modify(const ipc::IpcMsgParams& params) const;

private:
    /// True when the certificate is trusted now and was not before.
    bool apply(const std::string& operation, const std::string& name) const;
    bool trust(const std::string& name) const;
    void note(const std::string& text) const;

    const propertyapi::IPropertyApi& store_;
    EventPrinter& printer_;
    const std::string service_;
    const bool acceptsPending_;
};

} // namespace simulator
