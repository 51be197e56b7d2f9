// SPDX-License-Identifier: Apache-2.0
#include "Ctl.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class Program : public testing::Test {
protected:
    static void fill(int count) {
        propertyapi::IPropertyApi::Batch batch;
        for (int number = 0; number < count; ++number)
            batch.emplace_back("Key." + std::to_string(number), std::string(100, 'x'));
        propertyapi::SqlitePropertyApi().setValues(batch, "test");
    }

    const PhoneRoot root_;
};

} // namespace

TEST_F(Program, SaysItsVersion) {
    const CtlResult result = ctl({"--version"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "ovoctl " OVO_VERSION "\n");
}

TEST_F(Program, EveryCommandHasHelpWithAnExample) {
    for (const std::vector<std::string>& command : {std::vector<std::string>{},
                                                    {"property", "get"},
                                                    {"property", "set"},
                                                    {"property", "unset"},
                                                    {"property", "list"},
                                                    {"property", "watch"},
                                                    {"property", "dump"},
                                                    {"property", "load"},
                                                    {"property", "diff"},
                                                    {"bus", "send"},
                                                    {"bus", "request"},
                                                    {"bus", "listen"},
                                                    {"watch"},
                                                    {"encrypt"},
                                                    {"decrypt"},
                                                    {"keygen"}}) {
        std::vector<std::string> arguments = command;
        arguments.emplace_back("--help");
        const CtlResult result = ctl(arguments);
        EXPECT_EQ(result.status, 0);
        std::string example = "Example:\n  ovoctl";
        for (const std::string& word : command)
            example += " " + word;
        EXPECT_THAT(result.output, HasSubstr(example));
        EXPECT_THAT(result.errors, IsEmpty());
    }
}

TEST_F(Program, WrongCommandLinesAreOneSentenceThatNamesTheWord) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
        {{}, "a command is missing"},
        {{"dance"}, "\"dance\""},
        {{"dance", "--fast"}, "\"dance\", \"--fast\""},
        {{"--fast"}, "\"--fast\""},
        {{"property"}, "a command is missing; see ovoctl property --help"},
        {{"property", "dance"}, "\"dance\""},
        {{"property", "get"}, "KEY is required"},
        {{"property", "get", "--fast"}, "\"--fast\""},
        {{"property", "get", "A", "--fast"}, "\"--fast\""},
        {{"property", "list", "A", "B", "[c]"}, "\"B\", \"[c]\""},
        {{"property", "set", "--origin", "a", "--origin", "b", "A=1"}, "--origin"},
        {{"property", "set", "A=1", "--origin"}, "--origin"},
        {{"property", "get", ""}, "the key is empty"},
        {{"property", "get", "A\xff"}, "the key \"A\\xff\" is not UTF-8"},
        {{"bus", "request", "a/b", "c", "--timeout", "soon"}, "soon"},
        {{"--generate", "poem"}, "poem"},
        {{"doctor", ""}, "the URL is empty"},
        {{"keygen", ""}, "the name of the file to write is empty"},
        {{"check", "--json", "--format", "text", "/"}, "--json and --format text contradict"},
    };
    for (const auto& [arguments, text] : cases) {
        const CtlResult result = ctl(arguments);
        EXPECT_EQ(result.status, 2) << result.errors;
        EXPECT_THAT(result.output, IsEmpty());
        EXPECT_THAT(result.errors, AllOf(StartsWith("ovoctl: "), HasSubstr(text)));
        EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
    }
    EXPECT_FALSE(root_.exists("/data"));
}

TEST_F(Program, EndsQuietlyWhenItsReaderLeaves) {
    fill(20'000);
    const CtlResult result =
        shell("\"$OVOCTL\" property list | head -n 1; echo \"${PIPESTATUS[0]}\"");
    EXPECT_EQ(result.output, "Key.0=" + std::string(100, 'x') + "\n0\n");
    EXPECT_THAT(result.errors, IsEmpty());
}

TEST_F(Program, ReportsAFullDisk) {
    fill(1);
    for (const char* command :
         {"property list", "property dump", "doctor", "doctor --json", "--help", "--version"}) {
        const CtlResult result = shell("\"$OVOCTL\" " + std::string(command) + " >/dev/full");
        EXPECT_EQ(result.status, 3) << command;
        EXPECT_EQ(result.errors, "ovoctl: cannot write the output: No space left on device\n");
    }
    const CtlResult closed = shell("\"$OVOCTL\" property list >&-");
    EXPECT_EQ(closed.status, 3);
    EXPECT_EQ(closed.errors, "ovoctl: cannot write the output: Bad file descriptor\n");
}
