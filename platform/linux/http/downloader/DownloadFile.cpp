// SPDX-License-Identifier: Apache-2.0
#include "DownloadFile.h"

#include "filesystem/Filesystem.h"
#include "logger/Logger.h"
#include "text/Quote.h"

#include <stdexcept>
#include <utility>

namespace http {

namespace {

using Step = filesystem::WriteError::Step;

constexpr unsigned int DIRECTORY_MODE = 0775;

unsigned int modeOf(Access access) {
    return access == Access::OwnerOnly ? filesystem::PRIVATE_FILE : filesystem::PUBLIC_FILE;
}

const char* textOf(Step step) {
    switch (step) {
    case Step::Create:
        return "creating it";
    case Step::SetMode:
        return "setting the mode";
    case Step::Write:
        return "writing";
    case Step::Flush:
        return "flushing it to disk";
    case Step::Place:
        return "putting it in its place";
    case Step::FlushDirectory:
        return "flushing its directory to disk";
    }
    return "";
}

} // namespace

DownloadFile::DownloadFile(std::string path, Access access)
    : path_(std::move(path)), access_(access) {
    try {
        filesystem::AtomicFile::check(path_);
    } catch (const filesystem::WriteError& error) {
        fail(error);
    }
}

void DownloadFile::create() {
    try {
        file_.emplace(path_, filesystem::AtomicFile::Creation{.mode = modeOf(access_),
                                                              .ignoreUmask = true,
                                                              .directoryMode = DIRECTORY_MODE});
    } catch (const filesystem::WriteError& error) {
        fail(error);
    }
}

void DownloadFile::append(const char* data, std::size_t size) {
    try {
        file_->append(data, size);
    } catch (const filesystem::WriteError& error) {
        fail(error);
    }
}

void DownloadFile::commit() {
    try {
        file_->commit();
    } catch (const filesystem::WriteError& error) {
        if (error.step() != Step::FlushDirectory)
            fail(error);
        // The new file is in its place. A power cut may still bring the old one back, which does
        // not make the download a failure.
        LOG(2) << "Directory of " << quote(path_)
               << " not flushed to disk: " << error.code().message();
    }
}

void DownloadFile::fail(const filesystem::WriteError& error) const {
    throw std::runtime_error("File " + quote(path_) + ": " + textOf(error.step()) +
                             " failed: " + error.code().message());
}

} // namespace http
