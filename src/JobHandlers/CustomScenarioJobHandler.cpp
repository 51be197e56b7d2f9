// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/CustomScenarioJobHandler.h"

#include "CertificatesUpdate.h"
#include "Directories.h"
#include "JobHandlers/FileFromNode.h"
#include "JobHandlers/StepTypes.h"
#include "JobHandlers/XMLNodeType.h"
#include "Utils.h"
#include "Vocabulary.h"
#include "dto/SysConf.h"
#include "filesystem/Filesystem.h"
#include "http/formatPath.h"
#include "ipc/IPCMessage.h"
#include "logger/Logger.h"
#include "text/Quote.h"

#include <utility>

namespace ovo {

namespace {

constexpr char UNREAD[] = "???";

constexpr int FUNCTION_KEYS = 8;

std::string valueOrEmpty(const CustomScenarioJobHandler::Step& step, const char* attribute) {
    return std::string(step.find(attribute).value_or(""));
}

} // namespace

CustomScenarioJobHandler::CustomScenarioJobHandler(
    ProvisioningNode& jobNode, std::shared_ptr<propertyapi::IPropertyApi> store,
    const std::shared_ptr<phoneconfig::IPhoneConfig>& configuration,
    std::shared_ptr<http::IFileDownloader> downloader,
    std::shared_ptr<http::ISecurity> securityService, const http::UrlInfo& server,
    ipc::IIPCPublisher& busPublisher, LocalPhoneBookUpdater& phoneBookUpdater,
    RunReport& runReport)
    : JobHandler(jobNode, std::move(store), runReport),
      stepHandlers{
          {steps::CERTIFICATE, &CustomScenarioJobHandler::downloadCertificate},
          {steps::UNLOCK_FUNCTION_KEYS, &CustomScenarioJobHandler::unlockFunctionKeys},
          {steps::REDIRECT, &CustomScenarioJobHandler::redirect},
          {steps::LOCAL_PHONE_BOOK, &CustomScenarioJobHandler::downloadLocalPhoneBook},
          {steps::CLIENT_CERTIFICATE, &CustomScenarioJobHandler::downloadClientCertificate},
          {steps::CLIENT_KEY, &CustomScenarioJobHandler::downloadPrivateKey},
          {steps::WALLPAPER, &CustomScenarioJobHandler::downloadWallpaper},
      },
      fileDownloader(std::move(downloader)), security(std::move(securityService)),
      phoneConfig(configuration), localPhoneBookUpdater(phoneBookUpdater), publisher(busPublisher),
      serverAddress(server) {
    name = "CustomScenarioJobHandler";
}

ProvisioningContext CustomScenarioJobHandler::runImpl() {
    context.reset();
    bool allSucceeded = true;
    for (const Step step : node.children) {
        if (report.isCancelled()) {
            allSucceeded = false;
            break;
        }
        allSucceeded = executeStep(step) && allSucceeded;
    }
    context.updateStatus(allSucceeded ? ProvisioningStatus::Success : ProvisioningStatus::Fail);
    return context;
}

bool CustomScenarioJobHandler::executeStep(const Step& step) {
    std::string type = UNREAD;
    report.stepBegins();
    try {
        type = step.at(XMLParser::CUSTOM_STEP_ATTR_TYPE_STR);
        report.stepIs(type);
        const auto handler = stepHandlers.find(type);
        if (handler == stepHandlers.end()) {
            LOG(2) << "Custom step type " << quote(type) << " not implemented";
            report.stepIsUnknown();
            return true;
        }
        LOG(1) << "Executing step: " << quote(type);
        const bool succeeded = handler->second(*this, step);
        if (!succeeded)
            report.failed("step " + quote(type) + " failed");
        report.stepEnds(succeeded);
        return succeeded;
    } catch (const std::exception& exception) {
        LOG(3) << "Error executing step: " << quote(type) << " (exception " << exception.what()
               << ")";
        report.failed("step " + quote(type) + ": " + Utils::causeOf(exception));
        report.stepEnds(false);
        return false;
    }
}

/// Does the work of a step; an exception is logged and reported, and makes it false.
template <typename Work>
bool CustomScenarioJobHandler::attempt(Work work) {
    try {
        return work();
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
        report.failed(Utils::causeOf(exception));
        return false;
    }
}

/// Fetches a file that other services read; false when that failed.
bool CustomScenarioJobHandler::fetch(const http::UrlInfo& url, const std::string& path) {
    return attempt([&] {
        fileDownloader->download(url, path, http::Access::Everyone);
        return true;
    });
}

http::UrlInfo CustomScenarioJobHandler::getUrl(const Step& step) const {
    return Utils::prependServerAddressToRelativeURL(std::string(step.at(steps::ATTR_URL)),
                                                    serverAddress.getAbsolutePath());
}

std::string CustomScenarioJobHandler::getCertificateFlags(const Step& step) const {
    return valueOrEmpty(step, steps::ATTR_FLAGS);
}

std::string CustomScenarioJobHandler::getPassword(const Step& step) const {
    return valueOrEmpty(step, steps::ATTR_PASSWORD);
}

bool CustomScenarioJobHandler::downloadCertificate(const Step& step) {
    const http::UrlInfo url = getUrl(step);
    const std::string flags = getCertificateFlags(step);
    LOG(1) << "Downloading certificate from URL " << quote(url.getUrl()) << " with flags "
           << quote(flags);
    const std::string path = http::formatPath(Directories::CERTIFICATE_STORAGE + url.fileName,
                                              *propertyApi, *phoneConfig);
    return fetch(url, path) &&
           applyCertificate(url.fileName, path, flags == XMLParser::FORCE_ACCEPT_STR);
}

bool CustomScenarioJobHandler::applyCertificate(const std::string& certificateName,
                                                const std::string& path, bool forceAccept) {
    std::string operation = forceAccept ? "Accept" : "Pending";
    try {
        LOG(1) << "Applying certificate " << quote(certificateName);
        if (!security->checkCertificate(path)) {
            operation = "Invalid";
            report.remark("announced as " + quote(operation) +
                          ": it cannot serve as a trusted certificate");
        }
        publishCertificatesUpdate(operation, certificateName);
        return true;
    } catch (const std::exception& exception) {
        LOG(3) << "Error applying certificate " << quote(operation, certificateName, "=")
               << quote(exception.what());
        report.failed("certificate " + quote(certificateName) + ": " + exception.what());
        return false;
    }
}

void CustomScenarioJobHandler::publishCertificatesUpdate(const std::string& operation,
                                                         const std::string& certificateName) {
    dto::SysConf::ModifyCertificates record;
    record.certificates.push_back({operation, certificateName});
    ovo::publishCertificatesUpdate(publisher, record);
}

bool CustomScenarioJobHandler::downloadClientCertificate(const Step& step) {
    const http::UrlInfo url = getUrl(step);
    LOG(1) << "Downloading client certificate from URL " << quote(url.getUrl());
    return attempt([&] {
        fileDownloader->download(url, Files::FETCHED_CERTIFICATE);
        const auto certificate = security->loadCertificate(Files::FETCHED_CERTIFICATE);
        if (!certificate->isValid()) {
            report.failed("the client certificate is not valid");
            return false;
        }
        const bool saved = certificate->save(Files::CLIENT_CERTIFICATE);
        if (!saved)
            report.failed("the client certificate cannot be saved as " + Files::CLIENT_CERTIFICATE);
        notifyCertChanged(); // also when it was not saved
        return saved;
    });
}

bool CustomScenarioJobHandler::downloadPrivateKey(const Step& step) {
    const http::UrlInfo url = getUrl(step);
    LOG(1) << "Downloading client private key from URL " << quote(url.getUrl());
    return attempt([&] {
        fileDownloader->download(url, Files::FETCHED_KEY);
        const std::string password = getPassword(step);
        const auto key = security->loadPrivateKey(Files::FETCHED_KEY, password);
        if (!key->isValid()) {
            report.failed("the client private key is not valid");
            return false;
        }
        if (!key->save(Files::CLIENT_KEY, password)) {
            report.failed("the client private key cannot be saved as " + Files::CLIENT_KEY);
            return false;
        }
        filesystem::write(Files::CLIENT_KEY_PASSWORD, password);
        notifyCertChanged();
        return true;
    });
}

void CustomScenarioJobHandler::notifyCertChanged() {
    publisher.publish(bus::destinations::SIP_CLIENT,
                      ipc::IPCMessage(bus::messages::UPDATE_TLS_SECURITY));
}

bool CustomScenarioJobHandler::redirect(const Step& step) {
    LOG(1) << "Custom redirect.";
    return attempt([&] {
        const ProvisioningFileContext file =
            getFileFromNode(step, node.name, serverAddress, *propertyApi, *phoneConfig);
        LOG(1) << "New provisioning file: " << file.url.getUrl();
        context.push(file);
        return true;
    });
}

bool CustomScenarioJobHandler::downloadWallpaper(const Step& step) {
    const http::UrlInfo url = getUrl(step);
    const std::string text = url.getUrl();
    LOG(1) << "Downloading wallpaper from URL " << quote(text);
    const auto slash = text.rfind('/');
    const std::string fileName = slash == std::string::npos ? "" : text.substr(slash + 1);
    return fetch(url, Directories::WALLPAPERS + fileName);
}

bool CustomScenarioJobHandler::downloadLocalPhoneBook(const Step& step) const {
    if (propertyApi->getValue(keys::PROVISIONING) == values::REQUEST_CHECK_SYNC) {
        LOG(1) << "Download of local phone book skipped";
        return true;
    }
    const http::UrlInfo url = getUrl(step);
    if (const std::string period = valueOrEmpty(step, steps::ATTR_RENEW_PERIOD); !period.empty())
        propertyApi->setValue(keys::PHONE_BOOK_PERIOD, period);
    localPhoneBookUpdater.setUrl(url);
    std::string cause;
    const bool updated = localPhoneBookUpdater.update(cause);
    if (!updated)
        report.failed("the phone book: " + cause);
    return updated;
}

bool CustomScenarioJobHandler::unlockFunctionKeys(const Step&) const {
    for (int key = 0; key < FUNCTION_KEYS; ++key)
        propertyApi->setValue(keys::functionKeyLock(std::to_string(key)), values::OFF);
    return true;
}

} // namespace ovo
