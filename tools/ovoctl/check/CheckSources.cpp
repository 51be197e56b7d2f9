// SPDX-License-Identifier: Apache-2.0
#include "CheckSources.h"

#include "Fetch.h"
#include "http/UrlException.h"
#include "ovoctl/Failure.h"
#include "ovoctl/support/Words.h"
#include "text/Ascii.h"
#include "text/Quote.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace ovoctl::check {

namespace {

namespace fs = std::filesystem;

/// Stands for the server of files that nobody says the address of. https: nothing is known to go
/// over plain http.
constexpr const char* UNKNOWN_SERVER = "https://provisioning.invalid/";

bool isProvisioningFile(const fs::path& path) {
    const std::string extension = ascii::lowerCase(path.extension().string());
    return extension == ".xml" || extension == ".enc";
}

/// Characters that no URL may hold are escaped, so that every name has an address.
std::string escaped(const std::string& path) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string text;
    for (const char character : path) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte > ' ' && byte != 0x7f && character != '?' && character != '#') {
            text += character;
            continue;
        }
        text += '%';
        text += DIGITS[byte >> 4U];
        text += DIGITS[byte & 0xfU];
    }
    return text;
}

class Finder {
public:
    explicit Finder(const std::string& base) : base_(base.empty() ? UNKNOWN_SERVER : base) {
        if (!base_.ends_with('/'))
            base_ += '/';
        try {
            if (http::UrlInfo(base_).path.empty())
                throw http::UrlException("it has no path");
        } catch (const http::UrlException& exception) {
            throw Misuse(std::string("--base is not a URL: ") + exception.what());
        }
    }

    void add(const std::string& argument) {
        requireName("file, URL or directory", argument);
        std::error_code error;
        if (isUrl(argument))
            addFetched(argument);
        else if (fs::is_directory(argument, error))
            addDirectory(argument);
        else
            addFile(argument, argument, fs::path(argument).filename().string());
    }

    std::vector<CheckSource> take() {
        std::stable_sort(found_.begin(), found_.end(),
                         [](const CheckSource& left, const CheckSource& right) {
                             return left.name < right.name;
                         });
        found_.erase(std::unique(found_.begin(), found_.end(),
                                 [](const CheckSource& left, const CheckSource& right) {
                                     return left.name == right.name;
                                 }),
                     found_.end());
        return std::move(found_);
    }

private:
    void addFetched(const std::string& url) {
        const std::string name = http::withoutCredentials(url);
        try {
            FetchedFile file = fetch(url);
            found_.push_back({name, {}, std::move(file.content), {}, file.address});
        } catch (const Unaskable& failure) {
            found_.push_back({name, {}, std::nullopt, {}, http::UrlInfo(base_), failure.what()});
        }
    }

    void addFile(const std::string& name, const std::string& path,
                 const std::string& relativePath) {
        found_.push_back(
            {name, path, std::nullopt, relativePath, http::UrlInfo(base_ + escaped(relativePath))});
    }

    void addDirectory(const std::string& directory) {
        std::string prefix = directory;
        if (!prefix.ends_with('/'))
            prefix += '/';
        try {
            for (const auto& entry : fs::recursive_directory_iterator(directory)) {
                if (!isProvisioningFile(entry.path()) || !entry.is_regular_file())
                    continue;
                const std::string relative = entry.path().lexically_relative(directory).string();
                addFile(prefix + relative, entry.path().string(), relative);
            }
        } catch (const fs::filesystem_error& error) {
            throw Unaskable("the directory " + quote(directory) +
                            " cannot be read: " + error.code().message());
        }
    }

    std::string base_;
    std::vector<CheckSource> found_;
};

} // namespace

std::vector<CheckSource> findSources(const std::vector<std::string>& arguments,
                                     const std::string& base) {
    Finder finder(base);
    for (const std::string& argument : arguments)
        finder.add(argument);
    return finder.take();
}

} // namespace ovoctl::check
