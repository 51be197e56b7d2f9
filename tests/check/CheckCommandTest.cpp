// SPDX-License-Identifier: Apache-2.0
// The program: options, formats, exit statuses, URLs.

#include "CheckFixture.h"
#include "ovoctl/check/Rules.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/http/FaultyServer.h"
#include "support/http/Nginx.h"
#include "support/process/ChildProcess.h"

#include <gmock/gmock.h>
#include <json/reader.h>

#include <csignal>
#include <filesystem>
#include <sstream>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* GOOD = "<settings version='1.1'><param name='A' value='1'/></settings>";
constexpr const char* BAD = "<settings version='1.1'>\n<param name='A'/></settings>";

class CheckCommand : public CheckFixture {
protected:
    CheckCommand() {
        write("good.xml", GOOD);
        write("bad.xml", BAD);
    }

    static Finished ovoctl(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), OVOCTL);
        return run(arguments, {{"no_proxy", "127.0.0.1"}});
    }
    static Finished checked(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "check");
        return ovoctl(arguments);
    }

    std::string good() const { return path("good.xml"); }
    std::string bad() const { return path("bad.xml"); }
};

Json::Value parseJson(const std::string& text) {
    Json::Value value;
    std::istringstream stream(text);
    std::string error;
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, &error)) << error;
    return value;
}

TEST_F(CheckCommand, FindingsAreLinesAndErrorsAndWarningsTheStatus) {
    const Finished fine = checked({good()});
    EXPECT_EQ(fine.output, good() + ":1:1: note: plain: the file is not encrypted\n");
    EXPECT_EQ(fine.status, 0);
    const Finished failed = checked({"--allow", "plain", bad(), good()});
    EXPECT_EQ(failed.output,
              bad() + ":2:1: error: missing-attribute: \"param\" has no \"value\"\n");
    EXPECT_EQ(failed.status, 1);
    write("warning.xml", "<settings version='1.1' x='1'><param name='A' value='1'/></settings>");
    EXPECT_EQ(checked({path("warning.xml")}).status, 1);
    EXPECT_EQ(checked({"--allow", "missing-attribute", "--allow", "plain", bad()}).output, "");
    EXPECT_EQ(checked({"--allow", "missing-attribute", bad()}).status, 0);
}

TEST_F(CheckCommand, ADirectoryWithoutFilesIsNamed) {
    write("empty/read.me", "");
    const Finished finished = checked({path("empty")});
    EXPECT_EQ(finished.output, "ovoctl: no file whose name ends in .xml or .enc was found\n");
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(checked({"--json", "--format", "json", path("good.xml")}).status, 0);
}

TEST_F(CheckCommand, JsonIsAnObjectALine) {
    for (const std::vector<std::string>& format :
         {std::vector<std::string>{"--json"}, {"--format", "json"}}) {
        std::vector<std::string> arguments{bad(), "--allow", "plain"};
        arguments.insert(arguments.end(), format.begin(), format.end());
        const Finished finished = checked(arguments);
        EXPECT_EQ(std::count(finished.output.begin(), finished.output.end(), '\n'), 1);
        const Json::Value object = parseJson(finished.output);
        EXPECT_EQ(object["file"], bad());
        EXPECT_EQ(object["line"], 2);
        EXPECT_EQ(object["column"], 1);
        EXPECT_EQ(object["level"], "error");
        EXPECT_EQ(object["rule"], "missing-attribute");
        EXPECT_EQ(object["sentence"], "\"param\" has no \"value\"");
        EXPECT_EQ(finished.status, 1);
    }
}

TEST_F(CheckCommand, SarifIsOneLogWithAllRules) {
    const Finished finished = checked({bad(), "--format", "sarif"});
    EXPECT_EQ(finished.status, 1);
    const Json::Value log = parseJson(finished.output);
    EXPECT_EQ(log["version"], "2.1.0");
    const Json::Value& runs = log["runs"][0];
    EXPECT_EQ(runs["tool"]["driver"]["rules"].size(), ovoctl::check::rules::ALL.size());
    ASSERT_EQ(runs["results"].size(), 2U);
    const Json::Value& result = runs["results"][1];
    EXPECT_EQ(result["ruleId"], "missing-attribute");
    EXPECT_EQ(result["level"], "error");
    const Json::Value& place = result["locations"][0]["physicalLocation"];
    EXPECT_EQ(place["artifactLocation"]["uri"], bad());
    EXPECT_EQ(place["region"]["startLine"], 2);
    EXPECT_EQ(place["region"]["startColumn"], 1);
}

TEST_F(CheckCommand, TheRulesAreListedAndInTheReference) {
    const Finished finished = checked({"--rules"});
    EXPECT_EQ(finished.status, 0);
    const std::string reference = readHostFile(CHECK_REFERENCE);
    for (const ovoctl::check::Rule* rule : ovoctl::check::rules::ALL) {
        EXPECT_THAT(finished.output, HasSubstr(std::string(rule->sentence)));
        EXPECT_THAT(reference, HasSubstr("| `" + std::string(rule->name) + "` | " +
                                         std::string(ovoctl::check::nameOf(rule->level)) + " |"));
    }
    const std::string first = checked({"--rules", "--json"}).output;
    EXPECT_EQ(parseJson(first.substr(0, first.find('\n')))["rule"], "not-well-formed");
}

TEST_F(CheckCommand, WrongUseIsNamedWithStatusTwo) {
    const struct {
        std::vector<std::string> arguments;
        const char* sentence;
    } table[] = {
        {{}, "nothing to check"},
        {{""}, "the file, URL or directory is empty"},
        {{"\xff.xml"}, "is not UTF-8"},
        {{"--allow", "plian", good()}, "there is no rule \"plian\"; did you mean \"plain\"?"},
        {{"--format", "xml", good()}, "xml"},
        {{"--mac", "02:00", good()}, "\"02:00\" is not a MAC address"},
        {{"--product", "hd8", good()}, "there is no product \"hd8\""},
        {{"--base", "nowhere", good()}, "--base is not a URL"},
        {{"--key", good(), "--key", good(), good()}, "--key"},
        {{"--wrong", good()}, "--wrong"},
        {{"http:// x/"}, "http:// x/"},
    };
    for (const auto& each : table) {
        const Finished finished = checked(each.arguments);
        EXPECT_THAT(finished.output, AllOf(StartsWith("ovoctl: "), HasSubstr(each.sentence)));
        EXPECT_EQ(finished.status, 2) << each.sentence;
    }
    write("key", "\nkey\n");
    EXPECT_THAT(checked({"--key", path("key"), good()}).output, HasSubstr("is empty"));
}

TEST_F(CheckCommand, WhatCannotBeReadIsNamedWithStatusThreeAndTheRestIsChecked) {
    const Finished finished = checked({path("missing.xml"), bad()});
    EXPECT_THAT(finished.output,
                AllOf(HasSubstr("missing-attribute"),
                      HasSubstr("ovoctl: the file \"" + path("missing.xml") +
                                "\" cannot be read: No such file or directory\n")));
    EXPECT_EQ(finished.status, 3);
    EXPECT_EQ(checked({"--key", path("missing"), good()}).status, 3);
    const Finished root = checked({"--root", path("missing"), good()});
    EXPECT_THAT(root.output, HasSubstr(path("missing")));
    EXPECT_EQ(root.status, 3);
    const Finished store = checked({"--root", path("."), good()});
    EXPECT_THAT(store.output, HasSubstr("/data/properties.db"));
    EXPECT_EQ(store.status, 3);
    EXPECT_FALSE(std::filesystem::exists(path("data")));
}

TEST_F(CheckCommand, AFullDiskIsNoticed) {
    const Finished finished = run({"sh", "-c", R"("$0" check "$1" >/dev/full)", OVOCTL, good()});
    EXPECT_THAT(finished.output, HasSubstr("cannot write the output: No space left on device"));
    EXPECT_EQ(finished.status, 3);
}

TEST_F(CheckCommand, ThePhoneIsTheOneBelowTheRoot) {
    const PhoneRoot phone;
    {
        const propertyapi::SqlitePropertyApi store;
        store.setValue("NET.MAC.Address", "02:00:00:00:00:01");
    }
    write("other.xml", "<settings version='1.1' macAddress='02:00:00:00:00:02'>"
                       "<param name='A' value='1'/></settings>");
    EXPECT_THAT(checked({"--root", phone.path(), path("other.xml")}).output,
                HasSubstr("mac-address"));
    EXPECT_THAT(checked({"--mac", "02:00:00:00:00:01", path("other.xml")}).output,
                HasSubstr("mac-address"));
    EXPECT_EQ(
        checked({"--root", phone.path(), "--mac", "02:00:00:00:00:02", path("other.xml")}).status,
        0);
    EXPECT_EQ(checked({"--product", "hd9", good()}).status, 0);
    phone.write("/etc/ovo.d/key", "the key\n");
    EXPECT_EQ(run({"openssl", "enc", "-aes-128-cbc", "-pbkdf2", "-in", good(), "-out",
                   path("good.enc"), "-pass", "file:" + phone.host("/etc/ovo.d/key")})
                  .status,
              0);
    EXPECT_EQ(checked({"--root", phone.path(), path("good.enc")}).output, "") << "its own key";
}

TEST_F(CheckCommand, NamesStayOnOneLine) {
    write("two\nlines.xml", GOOD);
    EXPECT_THAT(checked({path("two\nlines.xml")}).output, HasSubstr("two\\nlines.xml:1:1: "));
}

TEST_F(CheckCommand, AUrlIsFetchedAndItsCredentialsAreNotShown) {
    Nginx server("location /private/ { auth_basic x; auth_basic_user_file @DIR@/users; }\n"
                 "location = /moved.xml { return 302 /sub/bad.xml; }\n");
    server.put("users", "user:{PLAIN}topsecret\n");
    server.publish("/bad.xml", BAD);
    server.publish(
        "/sub/bad.xml",
        "<scenario version='1.1'><step type='Clientkey' url='/k' password='x'/></scenario>");
    server.publish("/private/good.xml", GOOD);
    EXPECT_EQ(checked({"--allow", "plain", server.url("/bad.xml")}).output,
              server.url("/bad.xml") +
                  ":2:1: error: missing-attribute: \"param\" has no \"value\"\n");
    EXPECT_THAT(checked({server.url("/moved.xml")}).output,
                AllOf(HasSubstr("the private key comes over plain http"),
                      HasSubstr("the password goes over plain http")));

    std::string withCredentials = server.url("/private/good.xml");
    withCredentials.insert(withCredentials.find("://") + 3, "user:topsecret@");
    const Finished finished = checked({withCredentials});
    EXPECT_EQ(finished.output,
              server.url("/private/good.xml") + ":1:1: note: plain: the file is not encrypted\n");
    EXPECT_EQ(finished.status, 0);

    const Finished refused = checked({server.url("/private/good.xml")});
    EXPECT_THAT(refused.output, AllOf(HasSubstr("cannot be fetched"), HasSubstr("credentials")));
    EXPECT_EQ(refused.status, 3);
    withCredentials.insert(withCredentials.find("topsecret"), "not");
    EXPECT_THAT(checked({withCredentials}).output, Not(HasSubstr("topsecret")));
}

TEST_F(CheckCommand, WhatCannotBeFetchedKeepsNothingElseFromBeingChecked) {
    const Nginx server;
    server.publish("/bad.xml", BAD);
    const Finished finished =
        checked({"--allow", "plain", server.url("/missing.xml"), server.url("/bad.xml")});
    EXPECT_THAT(finished.output,
                AllOf(HasSubstr(server.url("/bad.xml") + ":2:1: error: missing-attribute: "),
                      HasSubstr("ovoctl: " + server.url("/missing.xml") + " cannot be fetched: ")));
    EXPECT_EQ(finished.status, 3);
}

TEST_F(CheckCommand, FetchingLeavesThePhoneAsItIs) {
    Nginx server;
    server.publish("/good.xml", GOOD);
    const PhoneRoot phone;
    EXPECT_EQ(run({OVOCTL, "check", server.url("/good.xml")}, {{"no_proxy", "127.0.0.1"}}).status,
              0);
    EXPECT_TRUE(std::filesystem::is_empty(phone.path()));
}

TEST_F(CheckCommand, ASignalWhileFetchingLeavesNothingBehind) {
    const TemporaryDirectory scratch;
    FaultyServer server([](FaultyServer::Exchange& exchange) {
        exchange.stall();
        return FaultyServer::Then::Close;
    });
    ChildProcess program({OVOCTL, "check", server.url("/p.xml")}, {},
                         {{"TMPDIR", scratch.path()}, {"no_proxy", "127.0.0.1"}});
    ASSERT_TRUE(server.waitForRequests(1));
    EXPECT_FALSE(std::filesystem::is_empty(scratch.path()));
    program.signal(SIGINT);
    EXPECT_EQ(program.wait(), 128 + SIGINT);
    EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
}

TEST_F(CheckCommand, FilesFetchedMayLeadToEachOther) {
    Nginx server;
    server.publish("/p/a.xml", "<nvm version='1.1'><file url='/b.xml'/></nvm>");
    server.publish("/p/b.xml", "<nvm version='1.1'><file url='/a.xml'/></nvm>");
    EXPECT_THAT(checked({server.url("/p/a.xml"), server.url("/p/b.xml")}).output,
                HasSubstr(server.url("/p/b.xml") + ":1:26: error: loop: "));
}

TEST_F(CheckCommand, NewPrintsATemplateThatIsGood) {
    for (const char* kind : {"settings", "firmware", "scenario", "list"}) {
        const Finished made = ovoctl({"new", kind});
        EXPECT_EQ(made.status, 0);
        EXPECT_THAT(made.output, HasSubstr("<!--"));
        write("new.xml", made.output);
        EXPECT_EQ(checked({"--allow", "plain", path("new.xml")}).output, "") << kind;
        EXPECT_EQ(parseJson(ovoctl({"new", kind, "--json"}).output)["file"], made.output);
    }
    const Finished wrong = ovoctl({"new", "setings"});
    EXPECT_THAT(wrong.output, HasSubstr("did you mean \"settings\"?"));
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(ovoctl({"new"}).status, 2);
}

} // namespace
