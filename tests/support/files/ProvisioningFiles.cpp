// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningFiles.h"

#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"
#include "support/process/TextReplacement.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

/// What follows a word at the begin of a line of the comment; none: it is another line.
std::optional<std::string> after(const std::string& word, std::string line) {
    line = replaced(replaced(line, "<!-- ", ""), " -->", "");
    const auto begin = line.find_first_not_of(' ');
    if (begin == std::string::npos || line.compare(begin, word.size(), word) != 0)
        return std::nullopt;
    return line.substr(begin + word.size());
}

void takeLine(const std::string& line, ProvisioningFile& file) {
    if (const auto finding = after("finding: ", line)) {
        const auto colon = finding->find(": ");
        if (colon == std::string::npos)
            throw std::runtime_error(file.name + ": a finding without its sentence: " + line);
        file.findings.push_back({finding->substr(0, colon), finding->substr(colon + 2)});
    }
    if (const auto property = after("phone: ", line)) {
        const auto equals = property->find('=');
        file.phone[property->substr(0, equals)] = property->substr(equals + 1);
    }
    if (const auto options = after("encrypted: ", line))
        file.encryption = options;
    if (const auto key = after("key: ", line))
        file.key = key;
    if (const auto cause = after("outside: ", line))
        file.outside.push_back(*cause);
}

std::vector<ProvisioningFile> readAll() {
    std::vector<ProvisioningFile> files;
    for (const auto& entry : fs::recursive_directory_iterator(PROVISIONING_FILES)) {
        if (!entry.is_regular_file())
            continue;
        ProvisioningFile file;
        file.name = entry.path().lexically_relative(PROVISIONING_FILES).string();
        file.text = readHostFile(entry.path());
        std::istringstream lines(file.text);
        for (std::string line; std::getline(lines, line);)
            takeLine(line, file);
        files.push_back(std::move(file));
    }
    std::sort(files.begin(), files.end(),
              [](const auto& left, const auto& right) { return left.name < right.name; });
    return files;
}

std::string encrypted(const std::string& content, const std::string& options,
                      const std::string& key) {
    const TemporaryDirectory directory;
    const std::string plain = directory.path() + "/plain";
    const std::string target = directory.path() + "/encrypted";
    const std::string keyFile = directory.path() + "/key";
    writeHostFile(plain, content);
    writeHostFile(keyFile, key + "\n");
    std::vector<std::string> command{"openssl", "enc", "-pass", "file:" + keyFile,
                                     "-in",     plain, "-out",  target};
    std::istringstream words(options);
    for (std::string word; words >> word;)
        command.push_back(word);
    if (const Finished finished = run(command); finished.status != 0)
        throw std::runtime_error("openssl enc: " + finished.output);
    return readHostFile(target);
}

} // namespace

const char* const ANY_OTHER_FILE =
    "<settings version=\"1.1\">\n<param name=\"Other.File\" value=\"1\"/>\n</settings>\n";

bool ProvisioningFile::Finding::isOf(const std::string& rule) const {
    return what.ends_with(" " + rule);
}

std::string ProvisioningFile::content(std::uint16_t port, std::uint16_t tlsPort) const {
    return replaced(replaced(text, "@PORT@", std::to_string(port)), "@TLSPORT@",
                    std::to_string(tlsPort));
}

std::string ProvisioningFile::sent(std::uint16_t port, std::uint16_t tlsPort,
                                   const std::string& phoneKey) const {
    const std::string plain = content(port, tlsPort);
    return encryption ? encrypted(plain, *encryption, key.value_or(phoneKey)) : plain;
}

const std::vector<ProvisioningFile>& provisioningFiles() {
    static const std::vector<ProvisioningFile> files = readAll();
    return files;
}

std::vector<std::string> provisioningDirectories() {
    std::set<std::string> names;
    for (const ProvisioningFile& file : provisioningFiles())
        names.insert(file.name.substr(0, file.name.find('/')));
    return {names.begin(), names.end()};
}

std::vector<std::string> referenceExamples() {
    const std::string text = readHostFile(PROVISIONING_FILE_REFERENCE);
    const std::string fence = "```xml\n";
    std::vector<std::string> blocks;
    for (auto begin = text.find(fence); begin != std::string::npos;
         begin = text.find(fence, begin)) {
        begin += fence.size();
        blocks.push_back(text.substr(begin, text.find("```", begin) - begin));
    }
    return blocks;
}
