// SPDX-License-Identifier: Apache-2.0
#include "CheckFixture.h"

#include <filesystem>

void CheckFixture::write(const std::string& name, const std::string& content) const {
    std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
    writeHostFile(path(name), content);
}

std::vector<std::string> CheckFixture::check(const std::string& content) {
    write("file.xml", content);
    return checkFiles({"file.xml"});
}

std::vector<std::string> CheckFixture::checkFiles(const std::vector<std::string>& names) {
    options.arguments.clear();
    for (const std::string& name : names)
        options.arguments.push_back(path(name));
    sentences_.clear();
    std::vector<std::string> found;
    for (const ovoctl::check::FileResult& file : ovoctl::check::runCheck(options)) {
        EXPECT_EQ(file.unreadable, "");
        for (const ovoctl::check::Finding& finding : file.findings) {
            if (finding.rule == &ovoctl::check::rules::PLAIN)
                continue;
            found.push_back(std::to_string(finding.place.line) + ":" +
                            std::to_string(finding.place.column) + " " +
                            std::string(finding.rule->name));
            sentences_.push_back(finding.sentence);
        }
    }
    return found;
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

const std::vector<std::string>& goodFiles() {
    static const std::vector<std::string> files = {
        R"(<nvm version="1.0"><settings><param name="A" value=""/></settings></nvm>)",
        R"(<nvm version="1.05" productID="hd9"><param name="A.B" value="x &lt; &#228;"/></nvm>)",
        R"(<nvm version="1.1" macAddress="02-1a-2b-3C-4D-5E">
             <settings><param name="A" value="1"/><param name="B" value="2"></param></settings>
             <!-- another one -->
             <settings><param name="C" value="3"/></settings></nvm>)",
        R"(<nvm version="1.1"><param name="A" value="1"/>
             <settings><param name="B" value="2"/></settings></nvm>)",
        R"(<settings version="1.1"><param name="A" value="1">text</param></settings>)",
        R"(<nvm version="1.1"><file url="/a.xml"/><file version="x" url="HTTPS://h:8443/b"/></nvm>)",
        R"(<firmware version="1.1"><file version="7.2" url="http://prov.example.com/i?x=y"/></firmware>)",
        R"(<firmware version="1.1"><file flags="FORCE_ACCEPT" version="7.2.0.1" url="/i"/></firmware>)",
        R"(<custom version="1.1"><scenario><step type="UnlockAllFunctionKeys"/></scenario>
             <scenario><step type="LocalPhoneBook" url="/b" renewPeriod="0"/></scenario></custom>)",
        R"(<custom version="1.1"><step type="LocalPhoneBook" url="/b" renewPeriod=""/>
             <step type="Clientkey" url="https://h/k" password=""/></custom>)",
        R"(<scenario version="1.1"><step type="certificate" url="/c.pem"/></scenario>)",
        R"(<provisioning version="1.1"><category url="/a" type="nvm"/></provisioning>)",
        "\xef\xbb\xbf<?xml version=\"1.0\"?>\n"
        "<custom version=\"1.1\"><file url=\"/%DVID/%MACD.xml\"/></custom>",
    };
    return files;
}
