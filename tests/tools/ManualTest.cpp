// SPDX-License-Identifier: Apache-2.0
#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

namespace {

using testing::HasSubstr;

/// Every "--option" that a help shows.
std::set<std::string> optionsIn(const std::string& help) {
    static const std::regex OPTION("\n  (-[a-z],)?(--[a-z-]+)");
    std::set<std::string> options;
    for (auto match = std::sregex_iterator(help.begin(), help.end(), OPTION);
         match != std::sregex_iterator(); ++match)
        options.insert((*match)[2]);
    return options;
}

std::string pageOf(const std::string& program) {
    return SHARE "/man/man1/" + program + ".1";
}

void expectInPage(const std::string& program, const std::string& help) {
    const Finished manual =
        run({"sh", "-c", "man --warnings -E UTF-8 -l " + pageOf(program) + " | col -bx"},
            {{"MANWIDTH", "400"}, {"MANROFFOPT", "-c"}});
    EXPECT_EQ(manual.status, 0);
    EXPECT_THAT(manual.output, HasSubstr("\nSEE ALSO\n"));
    EXPECT_THAT(manual.output, Not(HasSubstr("warning")));
    const std::set<std::string> options = optionsIn(help);
    EXPECT_GE(options.size(), 3U);
    for (const std::string& option : options)
        EXPECT_THAT(manual.output, HasSubstr(option));
}

} // namespace

/// What is installed is a file of the tree, so that no program has to run where it is built.
TEST(ManualTest, InstalledPagesAreWhatTheProgramsPrint) {
    for (const std::string program : {PHONE_SIMULATOR, FAULT_SERVER}) {
        const std::string name = program.substr(program.rfind('/') + 1);
        const Finished printed = run({program, "--generate", "man"});
        EXPECT_EQ(printed.status, 0);
        EXPECT_EQ(readHostFile(pageOf(name)), printed.output)
            << "write what " << name
            << " --generate man prints, its version as @PROJECT_VERSION@, to "
            << "docs/man/" << name << ".1";
    }
}

TEST(ManualTest, SimulatorsPageHasEveryOptionOfEveryCommand) {
    for (const std::string command : {"run", "trigger", "busy"})
        expectInPage("phone-simulator", run({PHONE_SIMULATOR, command, "--help"}).output);
}

TEST(ManualTest, FaultServersPageHasEveryOption) {
    expectInPage("fault-server", run({FAULT_SERVER, "--help"}).output);
}
