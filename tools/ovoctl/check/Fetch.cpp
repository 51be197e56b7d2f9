// SPDX-License-Identifier: Apache-2.0
#include "Fetch.h"

#include "CheckStore.h"
#include "Directories.h"
#include "KnownPhone.h"
#include "TemporaryRoom.h"
#include "http/FileDownloader.h"
#include "http/Security.h"
#include "http/UrlException.h"
#include "http/curl/CurlRestApi.h"
#include "ovoctl/Failure.h"
#include "ovoctl/support/InputFile.h"
#include "paths/Paths.h"
#include "xml/Xml.h"

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>

namespace ovoctl::check {

namespace {

namespace fs = std::filesystem;

constexpr const char* ROOT_VARIABLE = "HALDEN_ROOT";
constexpr const char* MACHINE_BUNDLE = "/etc/ssl/certs/ca-certificates.crt";
constexpr const char* TARGET = "/var/volatile/file";
constexpr std::uint64_t LARGEST = common::xml::MAX_BYTES + (std::uint64_t{64} << 10U);

/// Platform operations take their paths below another root for as long as this lives.
class OtherRoot {
public:
    explicit OtherRoot(const std::string& root) {
        if (const char* const set = std::getenv(ROOT_VARIABLE); set != nullptr)
            previous_ = set;
        ::setenv(ROOT_VARIABLE, root.c_str(), 1);
    }
    ~OtherRoot() {
        if (previous_)
            ::setenv(ROOT_VARIABLE, previous_->c_str(), 1);
        else
            ::unsetenv(ROOT_VARIABLE);
    }
    OtherRoot(const OtherRoot&) = delete;
    OtherRoot& operator=(const OtherRoot&) = delete;

private:
    std::optional<std::string> previous_;
};

/// Into the place where the security service looks for it.
void copyTrusted(const std::string& from, const std::string& root) {
    const std::string directory = root + ovo::Directories::CERTIFICATES;
    fs::create_directories(directory);
    std::error_code error;
    if (!fs::copy_file(from, directory + "ca-bundle.pem", error))
        fs::copy_file(MACHINE_BUNDLE, directory + "ca-bundle.pem", error);
}

} // namespace

FetchedFile fetch(const std::string& url) {
    std::optional<http::UrlInfo> source;
    try {
        source.emplace(url);
    } catch (const http::UrlException& exception) {
        throw Misuse(exception.what());
    }
    const std::string trusted =
        paths::toHost(ovo::Directories::CERTIFICATES + "ca-bundle.pem").text();
    try {
        const TemporaryRoom room;
        copyTrusted(trusted, room.path());
        const OtherRoot root(room.path());
        const KnownPhone nobody;
        const auto store = std::make_shared<CheckStore>(nobody.values, false);
        http::FileDownloader downloader(
            std::make_shared<http::CurlRestApi>(), std::make_shared<http::Security>(store), store,
            std::make_shared<KnownConfiguration>(nobody), nullptr, ovo::Files::DEFAULT_NAME);
        const http::DownloadResult result =
            downloader.download(*source, TARGET, http::Access::OwnerOnly, LARGEST);
        return {readProvisioningFile(room.path() + TARGET),
                result.serverAddress().value_or(http::withoutCredentials(*source))};
    } catch (const std::exception& exception) {
        throw Unaskable(http::withoutCredentials(url) + " cannot be fetched: " + exception.what());
    }
}

} // namespace ovoctl::check
