// SPDX-License-Identifier: Apache-2.0
#include "Planner.h"

#include "Directories.h"
#include "JobHandlers/ProvisioningFileParser.h"
#include "LocalPhoneBookUpdater.h"
#include "PlanRecorder.h"
#include "PlannedBus.h"
#include "PlannedDownloads.h"
#include "PlannedMonitor.h"
#include "PlannedStore.h"
#include "ProvisioningWatchdog/ProvisioningWorker.h"
#include "ProvisioningWatchdog/RunMonitor.h"
#include "ProvisioningWatchdog/RunReport.h"
#include "ScratchRoot.h"
#include "SizeProbe.h"
#include "StoredCredentials.h"
#include "app/EmptyPhoneConfig.h"
#include "http/Aes128CbcDecrypter.h"
#include "http/FileDownloader.h"
#include "http/Security.h"
#include "http/UrlException.h"
#include "http/curl/CurlRestApi.h"
#include "logger/Logger.h"
#include "ovoctl/Failure.h"
#include "ovoctl/support/InputFile.h"
#include "ovoctl/support/Words.h"
#include "paths/Paths.h"
#include "phoneconfig/json/JsonPhoneConfig.h"
#include "propertyapi/PropertyApiException.h"
#include "propertyapi/sqlite/ReadOnlyStore.h"
#include "text/Quote.h"

#include <json/reader.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace ovoctl {

namespace {

/// Host of the address that a local file gets where no real one is known.
constexpr char MADE_UP[] = "file://localhost/";
constexpr char ENDLESS[] = "endless";

/// What a URL could not hold, and "%", which begins placeholders, is escaped.
std::string escaped(std::string_view name) {
    constexpr std::string_view DIGITS = "0123456789ABCDEF";
    constexpr std::string_view KEPT = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                      "0123456789-._~";
    std::string result;
    for (const char character : name) {
        const auto code = static_cast<unsigned char>(character);
        if (KEPT.find(character) != std::string_view::npos)
            result += character;
        else
            result.append({'%', DIGITS[code >> 4U], DIGITS[code & 0xfU]});
    }
    return result;
}

/// What the run is started with.
struct Source {
    std::string url;
    PlannedDownloads::Start start;
};

Source sourceOf(const PlanRequest& request) {
    if (isUrl(request.start)) {
        if (!request.base.empty())
            throw Misuse("--base is for a local file, and " +
                         quote(http::withoutCredentials(request.start)) + " is a URL");
        return {request.start, {}};
    }
    const std::string name =
        escaped(std::string_view(request.start).substr(request.start.rfind('/') + 1));
    Source source;
    if (request.base.empty()) {
        source.start.madeUpDirectory = MADE_UP;
        source.url = MADE_UP + name;
    } else {
        try {
            http::UrlInfo url(request.base);
            if (url.fileName.empty())
                url.fileName = name;
            source.url = url.getUrl();
        } catch (const http::UrlException& exception) {
            throw Misuse(std::string("--base: ") + exception.what());
        }
    }
    source.start.content = readProvisioningFile(request.start);
    return source;
}

std::unordered_map<std::string, std::string> readStore() {
    try {
        return propertyapi::ReadOnlyStore().values();
    } catch (const propertyapi::PropertyApiException& exception) {
        throw Unaskable(std::string(exception.what()) +
                        " (HALDEN_ROOT names the phone's root directory)");
    }
}

/// As the daemon takes it: one that cannot be read counts as empty.
std::shared_ptr<phoneconfig::IPhoneConfig> readConfiguration() {
    try {
        return std::make_shared<phoneconfig::JsonPhoneConfig>();
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
        return std::make_shared<app::EmptyPhoneConfig>();
    }
}

/// Without changes to be announced: those are of the daemon's start and not of the run.
std::shared_ptr<http::Security> makeSecurity(const std::shared_ptr<PlannedStore>& store,
                                             const ScratchRoot& root) {
    auto security = std::make_shared<http::Security>(store);
    if (root.hasBundle())
        return security;
    try {
        security->updateCaBundle(ovo::Directories::TRUSTED_CERTIFICATES);
        security->takeCertificateOperations();
    } catch (const std::exception& exception) {
        LOG(3) << exception.what(); // then no server is trusted
    }
    return security;
}

/// What the run says of itself at its end.
void takeResult(const std::string& document, Plan& plan) {
    Json::Value report;
    std::istringstream stream(document);
    if (!Json::parseFromStream(Json::CharReaderBuilder(), stream, &report, nullptr))
        throw std::runtime_error("the run left no report");
    plan.result = report["result"].asString();
    plan.httpStatus = report["httpStatus"].asInt();
    plan.cause = report["cause"].asString();
}

void run(Source source, const PlanRequest& request,
         std::unordered_map<std::string, std::string> stored, const ScratchRoot& root, Plan& plan) {
    PlanRecorder recorder(plan);
    PlannedMonitor progress(request.progress);
    const auto report =
        std::make_shared<ovo::RunReport>(std::make_unique<ovo::RunMonitor>(progress), &recorder);
    const auto store = std::make_shared<PlannedStore>(std::move(stored), recorder);
    PlannedBus bus(recorder);
    const auto configuration = readConfiguration();
    const auto security = makeSecurity(store, root);
    const auto credentials = std::make_shared<StoredCredentials>(store, *configuration);
    const auto probe = std::make_shared<SizeProbe>(std::make_shared<http::CurlRestApi>());
    const auto giveUp = [&] {
        plan.stopped = "given up after " + std::to_string(request.mostFiles) +
                       " provisioning files, most likely a loop; the phone would go on";
        report->cancel();
    };
    const auto downloads = std::make_shared<PlannedDownloads>(
        std::make_unique<http::FileDownloader>(probe, security, store, configuration, credentials,
                                               ovo::Files::DEFAULT_NAME),
        probe, recorder, std::move(source.start), request.mostFiles, giveUp);
    ovo::LocalPhoneBookUpdater phoneBook(*store, downloads);
    http::Aes128CbcDecrypter decrypter(ovo::Files::KEY);
    ovo::ProvisioningWorker worker(store, configuration, security, downloads,
                                   std::make_shared<ovo::ProvisioningFileParser>(store, report),
                                   credentials, bus, phoneBook, decrypter, report);
    store->beginRun();
    worker.startProvisioning(source.url);
    worker.waitForProvisioningEnd();
    takeResult(report->document(), plan);
}

} // namespace

Plan makePlan(const PlanRequest& request) {
    Plan plan;
    plan.start = isUrl(request.start) ? http::withoutCredentials(request.start) : request.start;
    plan.root = paths::directory().empty() ? "/" : paths::directory();
    Source source = sourceOf(request);
    auto stored = readStore();
    {
        const ScratchRoot root;
        run(std::move(source), request, std::move(stored), root, plan);
    }
    if (!plan.stopped.empty()) {
        plan.result = ENDLESS;
        plan.cause = plan.stopped;
    }
    return plan;
}

} // namespace ovoctl
