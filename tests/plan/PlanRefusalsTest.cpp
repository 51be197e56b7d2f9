// SPDX-License-Identifier: Apache-2.0
// Files that a phone does not take, and what a plan says of them.
#include "Phone.h"
#include "PlanProgram.h"

#include <gmock/gmock.h>

namespace {

using planprogram::element;
using planprogram::plan;
using planprogram::Planned;
using planprogram::planText;
using planprogram::scenario;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string NO_AUTHENTICATION;

class PlanRefusals : public testing::Test {
protected:
    PlanRefusals() : phone(NO_AUTHENTICATION) {}

    /// Expects a failed run; its cause.
    std::string causeOf(const std::string& url) {
        const Planned planned = plan(url);
        EXPECT_EQ(planned.status, 1) << planned.output;
        EXPECT_EQ(planned.plan["result"], "fail");
        return planned.plan["cause"].asString();
    }
    std::string causeOfContent(const std::string& content) {
        phone.publishPlain("/p.xml", content);
        return causeOf(phone.url("/p.xml"));
    }

    Phone phone;
};

TEST_F(PlanRefusals, AMissingFile) {
    EXPECT_THAT(causeOf(phone.url("/missing.xml")), HasSubstr("status 404"));
    EXPECT_EQ(plan(phone.url("/missing.xml")).plan["files"][0]["httpStatus"], 404);
    EXPECT_EQ(plan(phone.url("/missing.xml")).plan["httpStatus"], 404);
}

TEST_F(PlanRefusals, AWrongKey) {
    phone.publishEncrypted("/p.xml", parameterFile(param("A", "1")), "another key");
    EXPECT_THAT(causeOf(phone.url("/p.xml")), HasSubstr("; then "));
    phone.publishEncrypted("/p.xml", parameterFile(param("A", "1")));
    EXPECT_EQ(plan(phone.url("/p.xml")).status, 0);
}

TEST_F(PlanRefusals, AnotherPhone) {
    EXPECT_THAT(causeOfContent(R"(<nvm version="1.1" macAddress="02:00:00:00:00:01"/>)"),
                AllOf(HasSubstr("not for this phone"), HasSubstr("02:00:00:00:00:01"),
                      HasSubstr(Phone::MAC)));
}

TEST_F(PlanRefusals, ElementsThatAreLeftOut) {
    phone.publishPlain("/p.xml", R"(<nvm version="1.1"><x><param a="1"/><parm a="1"/></x>)"
                                 R"(<settings><param name="A" value="1"/></settings></nvm>)");
    const std::string remark = R"(left out in element "x": all child elements, which have )"
                               R"(different names ("param", "parm"))";
    const Planned planned = plan(phone.url("/p.xml"));
    EXPECT_EQ(planned.plan["files"][0]["remark"], remark);
    EXPECT_FALSE(planned.plan["files"][0]["jobs"][0].isMember("remark"));
    EXPECT_THAT(planText(phone.url("/p.xml")).output, HasSubstr("): success; " + remark + "\n"));
}

TEST_F(PlanRefusals, APageForBrowsers) {
    EXPECT_THAT(causeOfContent("<!DOCTYPE html><html><body>Sign in</body></html>"),
                HasSubstr("document type"));
    EXPECT_THAT(causeOfContent("<html><body><p>Sign in</p></body></html>"),
                HasSubstr("its root element is \"html\""));
}

TEST_F(PlanRefusals, AnUnknownJob) {
    EXPECT_THAT(causeOfContent(element("nvm", R"(<parm name="A" value="1"/>)")),
                HasSubstr("is not a job"));
}

TEST_F(PlanRefusals, AStepWithoutItsType) {
    const Planned planned = plan([&] {
        phone.publishPlain("/p.xml", scenario(R"(<step url="/x.pem"/>)"));
        return phone.url("/p.xml");
    }());
    EXPECT_EQ(planned.status, 1);
    EXPECT_THAT(planned.plan["cause"].asString(), HasSubstr("\"???\""));
}

TEST_F(PlanRefusals, AServerThatThePhoneDoesNotTrust) {
    phone.root().write("/etc/ssl/certs/test-authority.pem", TestCa("Another").certificate());
    EXPECT_THAT(causeOf(phone.url("/p.xml")), HasSubstr("issuer"));
}

TEST_F(PlanRefusals, AUrlThatIsNone) {
    EXPECT_THAT(causeOf("http://"), HasSubstr("names no host"));
    EXPECT_THAT(causeOf("ftp://h.example.com/p.xml"), HasSubstr("only http and https"));
}

TEST(PlanCredentials, NobodyIsAskedOnTheScreen) {
    Phone phone;
    phone.publishPlain("/p.xml", parameterFile(param("A", "1")));
    phone.store().setValue("System.Provision.FactoryAuthPassword", "another-pa55word");
    const Planned planned = plan(phone.url("/p.xml"));
    EXPECT_EQ(planned.status, 1);
    EXPECT_THAT(planned.plan["cause"].asString(), HasSubstr("would be asked on the screen"));
    EXPECT_EQ(planned.plan["httpStatus"], 401);
}

TEST(PlanUsage, WhatCannotBeAskedAndWhatIsWrong) {
    const PhoneRoot root;
    const Planned noStore = planText("http://127.0.0.1/p.xml");
    EXPECT_EQ(noStore.status, 3);
    EXPECT_THAT(noStore.output, AllOf(StartsWith("ovoctl: "), HasSubstr("HALDEN_ROOT"),
                                      HasSubstr(root.host("/data/properties.db"))));
    EXPECT_FALSE(root.exists("/data")) << "reading makes nothing";
    root.write("/data/properties.db", "not a database, whatever its name says, for sure");
    EXPECT_EQ(planText("http://127.0.0.1/p.xml").status, 3);
    const Planned noFile = planText(root.host("/nothing.xml"));
    EXPECT_EQ(noFile.status, 3);
    EXPECT_THAT(noFile.output, HasSubstr("nothing.xml"));
    for (const char* word : {"", "\xff"}) {
        EXPECT_EQ(planText(word).status, 2) << word;
        EXPECT_EQ(planText("a", {"--base", word}).status, 2) << word;
    }
    EXPECT_EQ(planText("a", {"--base", "http://h/", "--base", "http://h/"}).status, 2);
    EXPECT_THAT(planText("a", {"--bse"}).output, HasSubstr("--bse"));
}

TEST_F(PlanRefusals, TheLogIsOnlyThereForWhoWantsIt) {
    phone.publishPlain("/p.xml", parameterFile(param("A", "1")));
    EXPECT_THAT(planText(phone.url("/p.xml")).output, Not(HasSubstr("Provisioning Started")));
    EXPECT_THAT(planText(phone.url("/p.xml"), {"--verbose"}).output,
                HasSubstr("1 ProvisioningWorker: Provisioning Started"));
}

} // namespace
