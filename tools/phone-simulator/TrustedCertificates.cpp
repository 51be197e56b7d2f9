// SPDX-License-Identifier: Apache-2.0
#include "TrustedCertificates.h"

#include "filesystem/Filesystem.h"
#include "paths/Paths.h"

#include <exception>
#include <filesystem>
#include <utility>

namespace simulator {

namespace {

constexpr const char* DELIVERED = "/data/certs/_storage/";
constexpr const char* TRUSTED = "/etc/ssl/certs/";
constexpr unsigned int DIRECTORY_MODE = 0755;

} // namespace

TrustedCertificates::TrustedCertificates(const propertyapi::IPropertyApi& store,
                                         EventPrinter& printer, std::string service,
                                         bool acceptsPending)
    : store_(store)
    , printer_(printer)
    , service_(std::move(service))
    , acceptsPending_(acceptsPending) {}

void TrustedCertificates::modify(const ipc::IpcMsgParams& params) const {
    bool changed = false;
    for (const Json::Value& entry : params.parameters()["certificates"]) {
        if (!entry["operation"].isString() || !entry["name"].isString())
            continue;
        try {
            changed = apply(entry["operation"].asString(), entry["name"].asString()) || changed;
        } catch (const std::exception& exception) {
            note(exception.what());
        }
    }
    if (changed)
        store_.setValue("State.Security.Certificates.UpdateCABundle", "1");
}

bool TrustedCertificates::apply(const std::string& operation, const std::string& name) const {
    if (operation == "Accept")
        return trust(name);
    if (operation == "Pending") {
        note(name + (acceptsPending_ ? ": the user accepts it" : ": waits for the user"));
        return acceptsPending_ && trust(name);
    }
    return false;
}

/// Does nothing for a certificate that was not delivered: it was trusted already when the bundle
/// was built.
bool TrustedCertificates::trust(const std::string& name) const {
    const std::string delivered = DELIVERED + name;
    if (!std::filesystem::exists(paths::toHost(delivered).text()))
        return false;
    filesystem::makeDirectory(TRUSTED, DIRECTORY_MODE);
    filesystem::write(TRUSTED + name, filesystem::read(delivered), filesystem::PUBLIC_FILE);
    std::filesystem::remove(paths::toHost(delivered).text());
    note(name + " is trusted now");
    return true;
}

void TrustedCertificates::note(const std::string& text) const {
    printer_.print({service_, Event::Kind::NOTE, "", text});
}

} // namespace simulator
