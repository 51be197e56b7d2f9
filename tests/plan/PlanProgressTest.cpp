// SPDX-License-Identifier: Apache-2.0
#include "Phone.h"

#include <gmock/gmock.h>

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

class PlanProgress : public testing::Test {
protected:
    PlanProgress() {
        phone_.publishPlain("/slow.xml", parameterFile(param("A", std::string(8'000, 'x'))));
    }

    /// A line of the shell that plans; the plan goes to a file.
    std::string line(const std::string& options) const {
        return "'" PLAN_PROGRAM "' plan " + options + " " + phone_.url("/slow.xml") + " >'" +
               phone_.root().host("/plan") + "'";
    }
    std::string plan() const { return phone_.root().read("/plan"); }

    mutable Phone phone_{"location / { limit_rate 4k; }"};
};

TEST_F(PlanProgress, ATerminalShowsABarThatGoesAtTheEnd) {
    const Finished finished = run({"script", "-qec", line(""), "/dev/null"});
    EXPECT_EQ(finished.status, 0) << finished.output;
    EXPECT_THAT(finished.output, AllOf(StartsWith("\r\x1b[Kslow.xml"), HasSubstr("[###"),
                                       EndsWith("\r\x1b[K"), Not(HasSubstr("\n"))));
    EXPECT_THAT(plan(), AllOf(HasSubstr("slow.xml"), Not(HasSubstr("\x1b"))));
}

TEST_F(PlanProgress, ElsewhereNothingShows) {
    const Finished finished = run({"sh", "-c", line("")});
    EXPECT_EQ(finished.status, 0);
    EXPECT_THAT(finished.output, IsEmpty());
}

TEST_F(PlanProgress, TheLogComesWithLines) {
    const std::string url = phone_.url("/slow.xml");
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"sh", "-c", line("--verbose")},
          {"script", "-qec", line("--verbose"), "/dev/null"}}) {
        const Finished finished = run(words);
        EXPECT_EQ(finished.status, 0);
        EXPECT_THAT(finished.output, AllOf(ContainsRegex("(^|\n)" + url + "\r?\n"),
                                           HasSubstr("RunReport"), Not(HasSubstr("\x1b"))));
        EXPECT_THAT(plan(), Not(HasSubstr("RunReport")));
    }
}

} // namespace
