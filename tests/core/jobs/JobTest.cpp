// SPDX-License-Identifier: Apache-2.0
#include "JobTest.h"

#include <sys/stat.h>

#include <stdexcept>

std::string WatchedStore::getValue(const std::string& key) const {
    beforeRead(key);
    return FakePropertyApi::getValue(key);
}

unsigned int WatchedStore::setValues(const Batch& batch, const std::string& origin) const {
    beforeBatch();
    return FakePropertyApi::setValues(batch, origin);
}

void WatchedBus::publish(const std::string& destination, const ipc::IPCMessage& message) {
    beforePublish();
    FakeIpcClient::publish(destination, message);
}

std::string JobTest::reportedCause() {
    report.end(ovo::ProvisioningStatus::Fail, 0);
    const std::string line = log.texts().back();
    const std::string mark = ", first failure: ";
    return line.substr(line.find(mark) + mark.size());
}

ovo::LeafChildren childrenOf(const std::vector<std::map<std::string, std::string>>& attributes) {
    ovo::LeafChildren children;
    for (const auto& child : attributes)
        children.push(child);
    return children;
}

std::vector<std::map<std::string, std::string>> attributesOf(const ovo::LeafChildren& children) {
    std::vector<std::map<std::string, std::string>> result;
    for (const ovo::LeafChildren::Attributes child : children) {
        auto& attributes = result.emplace_back();
        for (const auto& [name, value] : child)
            attributes.emplace(name, value);
    }
    return result;
}

std::vector<ovo::ProvisioningFileContext> takeFiles(ovo::ProvisioningContext& result) {
    std::vector<ovo::ProvisioningFileContext> files;
    while (!result.empty())
        files.push_back(result.pop());
    return files;
}

std::string errorOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const std::exception& exception) {
        return exception.what();
    }
    return {};
}

unsigned int modeOf(const std::string& hostPath) {
    struct stat status {};
    if (::stat(hostPath.c_str(), &status) != 0)
        throw std::runtime_error("no file " + hostPath);
    return status.st_mode & 07777U;
}

std::vector<std::string> linesFrom(const LogRecorder& log, const std::string& source) {
    std::vector<std::string> result;
    for (const LogRecorder::Line& line : log.lines())
        if (line.source == source)
            result.push_back(std::to_string(line.level) + " " + line.source + ": " + line.text);
    return result;
}
