// SPDX-License-Identifier: Apache-2.0
#include "Phone.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;

std::string redirect(const std::string& url) {
    return R"(<step type="Redirect" url=")" + url + R"("/>)";
}

void expectOneConnection(const std::vector<Nginx::Access>& accesses) {
    for (const Nginx::Access& access : accesses)
        EXPECT_EQ(access.connection, accesses.front().connection) << access.uri;
}

/// Whether a file of the first server comes between those of the second.
class SecondServer : public testing::TestWithParam<bool> {};

TEST_P(SecondServer, IsReachedOverOneConnectionForAllItsFiles) {
    Phone phone(std::string{});
    const Nginx second({}, Nginx::Tls{phone.ca().issueServer({"IP:127.0.0.1"}), {}, {}});
    second.publish("/a.xml", parameterFile(param("A", "1")));
    second.publish("/b.xml", parameterFile(param("B", "1")));
    phone.publishPlain("/between.xml", parameterFile(param("Between", "1")));
    phone.publishPlain("/provisioning.xml",
                       R"(<custom version="1.1"><scenario>)" + redirect(second.tlsUrl("/a.xml")) +
                           (GetParam() ? redirect("/between.xml") : "") +
                           redirect(second.tlsUrl("/b.xml")) + "</scenario></custom>");
    phone.boot(phone.url("/"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    EXPECT_EQ(phone.value("B"), "1");

    const auto accesses = second.accesses(2);
    EXPECT_THAT(pathsOf(accesses), ElementsAre("/a.xml", "/b.xml"));
    expectOneConnection(accesses);
    if (GetParam()) {
        const auto first = phone.server().accesses(2);
        EXPECT_THAT(pathsOf(first), ElementsAre("/provisioning.xml", "/between.xml"));
        expectOneConnection(first);
    }
}

INSTANTIATE_TEST_SUITE_P(Orders, SecondServer, testing::Bool(), [](const auto& between) {
    return std::string(between.param ? "WithAFileOfTheFirstBetween" : "InARow");
});

} // namespace
