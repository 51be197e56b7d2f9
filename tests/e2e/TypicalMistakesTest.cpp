// SPDX-License-Identifier: Apache-2.0
// The page of typical mistakes, held against the programs: its files are made and published, its
// commands are run by the shell, and what they print is compared with the page.
//
// When a sentence of the programs was changed on purpose, MISTAKES_AS_PRINTED=FILE in the
// environment writes the page with what they print now to FILE.

#include "MistakesPage.h"
#include "Phone.h"
#include "support/process/ChildProcess.h"
#include "support/process/TextReplacement.h"
#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/value.h>

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

/// Exit statuses of the command-line tool.
constexpr int FINE = 0;
constexpr int FINDING = 1;

/// What the page's server does beside handing out files.
std::string locations(const std::string& faultyServer) {
    return R"(
location /private/ { auth_basic provisioning; auth_basic_user_file @DIR@/others; }
location = /moved.xml { return 302 /moved.xml; }
location /images/ { proxy_pass )" +
           faultyServer + "; }\n";
}

bool beginsWith(const std::string& command, const std::string& words) {
    return command.rfind(words, 0) == 0;
}

/// The lines of a text that begin in a certain way.
std::vector<std::string> linesOf(const std::string& text, const std::string& begin) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        if (beginsWith(line, begin))
            lines.push_back(line);
    return lines;
}

class TypicalMistakes : public testing::Test {
protected:
    TypicalMistakes()
        : faulty_({FAULT_SERVER, "--size", "1000", "--close", "400", "--timeout", "300"},
                  faultyRoom_.path() + "/output")
        , phone_(locations(faultyAddress()))
        , expired_({},
                   Nginx::Tls{phone_.ca().issueServer({"DNS:localhost"}, {std::chrono::hours(-48),
                                                                          std::chrono::hours(-24)}),
                              {},
                              {}}) {
        // The names of the page are as long as what they stand for, so that columns stay the same.
        const std::string plain = "127.0.0.1:" + std::to_string(phone_.server().port());
        const std::string tls = "127.0.0.1:" + std::to_string(phone_.server().tlsPort());
        const std::string expired = "localhost:" + std::to_string(expired_.tlsPort());
        names_ = {{"http://tel.example.com", "http://" + plain},
                  {"tel.example.com", tls},
                  {"old.example.com", expired}};
        for (const auto& [shown, real] : names_)
            EXPECT_EQ(shown.size(), real.size()) << real;
        // Nobody's credentials.
        phone_.server().put("others", "somebody:{PLAIN}something");
    }

    /// The first line of its output.
    std::string faultyAddress() const {
        const std::string output = faultyRoom_.path() + "/output";
        EXPECT_TRUE(
            waitUntil([&] { return readHostFile(output).find('\n') != std::string::npos; }));
        const std::string text = readHostFile(output);
        return text.substr(0, text.find('\n'));
    }

    void boot() {
        phone_.store().setValue("NET.VLAN.Locked", "1");
        phone_.store().setValue("FirmwareManagment.AutomaticCheckForUpdates", "1");
        phone_.publishPlain("/boot.xml", parameterFile(param("Boot", "1")));
        phone_.boot(phone_.url("/boot.xml"));
        lasting_ = phone_.lastingContent();
    }

    /// The phone, and what is on the server, as they were before the last mistake.
    void reset() {
        ASSERT_TRUE(phone_.waitForValue("State.Provisioning.InProgress", "0"));
        const auto room = std::filesystem::directory_iterator(phone_.server().documentRoot());
        for (const auto& entry : room)
            std::filesystem::remove_all(entry.path());
        std::istringstream now(phone_.lastingContent());
        for (std::string line; std::getline(now, line);)
            if (("\n" + lasting_).find("\n" + line + "\n") == std::string::npos)
                phone_.store().removeValue(line.substr(0, line.find('|')));
        EXPECT_EQ(phone_.lastingContent(), lasting_);
    }

    std::string real(std::string text) const {
        for (const auto& [name, address] : names_)
            text = replaced(text, name, address);
        return text;
    }

    /// As the page has it: the names of its servers, and one number, time and duration for all.
    std::string shown(std::string text) const {
        for (const auto& [name, address] : names_)
            text = replaced(text, address, name);
        text = std::regex_replace(text, std::regex("Run [0-9]+ of"), "Run 2 of");
        text = std::regex_replace(text, std::regex("[0-9]+\\.[0-9] s, HTTP"), "0.1 s, HTTP");
        text = std::regex_replace(text, std::regex("started [-0-9]+T[0-9:]+Z"),
                                  "started 2026-11-22T08:00:00Z");
        return std::regex_replace(text, std::regex("process [0-9]+"), "process 1234");
    }

    /// In the directory that the server hands out. Of the standard error of "run", which follows
    /// the run, only what the tool says itself.
    Finished shell(const std::string& command) {
        const std::string errors = faultyRoom_.path() + "/errors";
        const bool isRun = beginsWith(command, "ovoctl run");
        const std::string bin = std::filesystem::path(OVOCTL).parent_path();
        Finished finished = run({"sh", "-c",
                                 "cd " + phone_.server().documentRoot() + " && PATH=" + bin +
                                     ":$PATH\n" + real(command) + (isRun ? " 2> " + errors : "")});
        if (isRun)
            for (const std::string& line : linesOf(readHostFile(errors), "ovoctl: "))
                finished.output += line + "\n";
        return {finished.status, shown(finished.output)};
    }

    std::string causeOfLastRun() const {
        std::istringstream stream(phone_.value("State.Provisioning.Report"));
        Json::Value report;
        EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &report, nullptr));
        return shown(report["cause"].asString());
    }

    /// Runs a command of the page; what it prints.
    std::string printed(const std::string& command) {
        if (beginsWith(command, "ovoctl report")) {
            EXPECT_TRUE(phone_.waitForValue("State.Provisioning.InProgress", "0"));
        }
        const Finished finished = shell(command);
        isFound_ = isFound_ || finished.status != FINE;
        const bool hasReport = !linesOf(finished.output, "Run 2 of ").empty();
        const bool isComplete = command.find('|') == std::string::npos;
        if (hasReport && isComplete)
            checkReport(finished);
        return finished.output;
    }

    /// The three ways to the result of a run say the same.
    void checkReport(const Finished& finished) {
        isFound_ = isFound_ || phone_.value("State.Provisioning.Report").find("\"remark\":") !=
                                   std::string::npos;
        const Finished report = shell("ovoctl report");
        EXPECT_EQ(report.output, finished.output);
        EXPECT_EQ(report.status, finished.status);
        const auto causes = linesOf(finished.output, "First failure: ");
        const std::string cause = causeOfLastRun();
        EXPECT_EQ(cause.empty() ? "" : "First failure: " + cause,
                  causes.empty() ? "" : causes.front());
        const bool isSuccess = finished.output.find(": success, ") != std::string::npos;
        EXPECT_EQ(finished.status, isSuccess ? FINE : FINDING);
        EXPECT_EQ(cause.empty(), isSuccess);
    }

    TemporaryDirectory faultyRoom_;
    ChildProcess faulty_;
    Phone phone_;
    Nginx expired_;
    std::vector<std::pair<std::string, std::string>> names_; ///< of the page, and the real ones
    std::string lasting_;
    /// A command of the mistake ended with another status than 0, or the report has a remark.
    bool isFound_ = false;
};

TEST_F(TypicalMistakes, AreFoundAsThePageSays) {
    MistakesPage page(readHostFile(TYPICAL_MISTAKES));
    ASSERT_GE(page.mistakes().size(), 20U);
    boot();
    for (MistakesPage::Mistake& mistake : page.mistakes()) {
        SCOPED_TRACE(mistake.title);
        reset();
        isFound_ = false;
        for (const MistakesPage::File& file : mistake.files)
            phone_.publishPlain("/" + file.name, real(file.content));
        std::string all;
        for (MistakesPage::Command& command : mistake.commands) {
            SCOPED_TRACE(command.line);
            const std::string output = printed(command.line);
            EXPECT_EQ(output, command.output);
            command.output = output;
            all += output;
        }
        EXPECT_TRUE(isFound_) << "neither before nor after";
        EXPECT_EQ(page.overview(mistake.title), MistakesPage::summaryOf(all));
    }
    if (const char* file = std::getenv("MISTAKES_AS_PRINTED"); file != nullptr)
        writeHostFile(file, page.text());
    EXPECT_EQ(phone_.stop(), 0);
}

} // namespace
