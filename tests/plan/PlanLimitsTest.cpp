// SPDX-License-Identifier: Apache-2.0
#include "Phone.h"
#include "PlanProgram.h"
#include "support/process/Sanitizers.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <chrono>

namespace {

using planprogram::plan;
using planprogram::Planned;
using planprogram::scenario;
using testing::HasSubstr;

const std::string NO_AUTHENTICATION;

TEST(PlanLimits, ALoopEnds) {
    Phone phone(NO_AUTHENTICATION);
    phone.publishPlain("/loop.xml", scenario(R"(<step type="Redirect" url="/loop.xml"/>
                                                <step type="Redirect" url="/loop.xml"/>)"));
    const Planned planned = plan(phone.url("/loop.xml"));
    EXPECT_EQ(planned.status, 1);
    EXPECT_EQ(planned.plan["result"], "endless");
    EXPECT_THAT(planned.plan["cause"].asString(),
                HasSubstr("given up after 1000 provisioning files, most likely a loop"));
    EXPECT_EQ(planned.plan["files"].size(), 1001U);
    EXPECT_EQ(phone.server().requestCount(), 1000U);
}

TEST(PlanLimits, AHundredThousandParameters) {
    constexpr int PARAMETERS = 100'000;
    Phone phone(NO_AUTHENTICATION);
    std::string params;
    for (int number = 0; number < PARAMETERS; ++number)
        params += param("Some.Parameter.Of.Many." + std::to_string(number),
                        "the value of number " + std::to_string(number));
    phone.publishEncrypted("/p.xml", parameterFile(params));
    const auto begin = std::chrono::steady_clock::now();
    const Finished finished = run({PLAN_PROGRAM, "plan", "--json", phone.url("/p.xml")});
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(finished.status, 0);
    EXPECT_THAT(finished.output.substr(0, 4096), HasSubstr("\"applied\":100000"));
    rusage usage{};
    ASSERT_EQ(::getrusage(RUSAGE_CHILDREN, &usage), 0);
    RecordProperty("milliseconds", static_cast<int>(seconds.count() * 1000));
    RecordProperty("KiB", std::to_string(usage.ru_maxrss));
    if (SANITIZED)
        return;
    EXPECT_LT(seconds.count(), 5);
    EXPECT_LT(usage.ru_maxrss, 256L * 1024);
}

} // namespace
