// SPDX-License-Identifier: Apache-2.0
#include "Fetch.h"

#include "CheckStore.h"
#include "Directories.h"
#include "KnownPhone.h"
#include "http/FileDownloader.h"
#include "http/Security.h"
#include "http/UrlException.h"
#include "http/curl/CurlRestApi.h"
#include "ovoctl/Failure.h"
#include "ovoctl/support/InputFile.h"
#include "ovoctl/support/TemporaryRoot.h"
#include "xml/Xml.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace ovoctl::check {

namespace {

namespace fs = std::filesystem;

constexpr const char* MACHINE_BUNDLE = "/etc/ssl/certs/ca-certificates.crt";
constexpr const char* TARGET = "/var/volatile/file";
constexpr std::uint64_t LARGEST = common::xml::MAX_BYTES + (std::uint64_t{64} << 10U);

/// Into the place where the security service looks for it.
void copyTrusted(const TemporaryRoot& root) {
    const std::string bundle = ovo::Directories::CERTIFICATES + "ca-bundle.pem";
    if (root.copy(bundle))
        return;
    fs::create_directories(root.path() + ovo::Directories::CERTIFICATES);
    std::error_code noneTrusted;
    fs::copy_file(MACHINE_BUNDLE, root.path() + bundle, noneTrusted);
}

} // namespace

FetchedFile fetch(const std::string& url) {
    std::optional<http::UrlInfo> source;
    try {
        source.emplace(url);
    } catch (const http::UrlException& exception) {
        throw Misuse(exception.what());
    }
    try {
        const TemporaryRoot root;
        copyTrusted(root);
        const KnownPhone nobody;
        const auto store = std::make_shared<CheckStore>(nobody.values, false);
        http::FileDownloader downloader(
            std::make_shared<http::CurlRestApi>(), std::make_shared<http::Security>(store), store,
            std::make_shared<KnownConfiguration>(nobody), nullptr, ovo::Files::DEFAULT_NAME);
        const http::DownloadResult result =
            downloader.download(*source, TARGET, http::Access::OwnerOnly, LARGEST);
        return {readProvisioningFile(root.path() + TARGET),
                result.serverAddress().value_or(http::withoutCredentials(*source))};
    } catch (const std::exception& exception) {
        throw Unaskable(http::withoutCredentials(url) + " cannot be fetched: " + exception.what());
    }
}

} // namespace ovoctl::check
