// SPDX-License-Identifier: Apache-2.0
#include "ovoctl/plan/PlanRecorder.h"

#include <gtest/gtest.h>

namespace {

TEST(PlanRecorder, PutsWhatHappensIntoTheInnermostLevel) {
    ovoctl::Plan plan;
    ovoctl::PlanRecorder recorder(plan);
    const auto act = [&](const char* key) {
        recorder.property({key, {}, "1", true});
    };
    act("before");
    recorder.fileBegins("http://h/");
    act("file");
    recorder.jobBegins("custom");
    act("job");
    recorder.stepBegins();
    recorder.stepIs("Redirect");
    act("step");
    recorder.failed("why");
    recorder.failed("why else");
    recorder.remarked("of the step");
    recorder.remarked("later");
    recorder.stepEnds("fail");
    act("job again");
    recorder.jobEnds("fail");
    recorder.fileEnds("fail");
    act("after");
    const auto key = [](const ovoctl::PlannedActions& actions, std::size_t index) {
        return std::get<ovoctl::PlannedProperty>(actions.at(index)).key;
    };
    const ovoctl::PlannedFile& file = plan.files.at(0);
    const ovoctl::PlannedJob& job = file.jobs.at(0);
    EXPECT_EQ(key(plan.before, 0), "before");
    EXPECT_EQ(key(file.actions, 0), "file");
    EXPECT_EQ(key(job.actions, 0), "job");
    EXPECT_EQ(key(job.actions, 1), "job again");
    EXPECT_EQ(key(job.steps.at(0).actions, 0), "step");
    EXPECT_EQ(key(plan.after, 0), "after");
    EXPECT_EQ(job.steps.at(0).cause, "why");
    EXPECT_EQ(file.cause, "why");
    EXPECT_EQ(job.steps.at(0).remark, "of the step");
    EXPECT_EQ(job.remark + file.remark, "");
}

TEST(PlanRecorder, HidesSecretsOfMessages) {
    ovoctl::Plan plan;
    ovoctl::PlanRecorder recorder(plan);
    Json::Value parameters;
    parameters["password"] = "s3cret";
    parameters["location"] = "http://u:s3cret@h/";
    recorder.message({"prov-client/x", "m", parameters});
    const Json::Value& shown = std::get<ovoctl::PlannedMessage>(plan.before.at(0)).parameters;
    EXPECT_EQ(shown["password"], "***");
    EXPECT_EQ(shown["location"], "http://h/");
}

} // namespace
