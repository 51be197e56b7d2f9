// SPDX-License-Identifier: Apache-2.0
#include "DownloadFixture.h"
#include "fault-server/AnswerMembers.h"
#include "fault-server/FaultServer.h"
#include "support/http/TestCa.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using faults::Answer;
using faults::FaultServer;
using testing::HasSubstr;

using Members = std::vector<std::pair<std::string, std::string>>;

Answer answerOf(const Members& members) {
    Answer answer;
    for (const auto& [name, value] : members) {
        const auto& known = faults::answerMembers();
        setMember(answer,
                  *std::find_if(known.begin(), known.end(),
                                [&name = name](const auto& member) { return member.name == name; }),
                  value);
    }
    answer.check();
    return answer;
}

/// The real downloader and answers that the server can give wrongly.
class FaultyAnswersTest : public DownloadFixture {
protected:
    FaultyAnswersTest() {
        root.write(security->getCaBundlePath(), ca.certificate());
        config->set("networking.download.StallTimeout", "1");
    }

    TestCa ca{"Test CA"};
};

struct Refused {
    Members members;
    std::string cause;
    int status; ///< that the downloader reports
};

class RefusedAnswerTest : public FaultyAnswersTest, public testing::WithParamInterface<Refused> {};

INSTANTIATE_TEST_SUITE_P(
    All, RefusedAnswerTest,
    testing::Values(
        Refused{{{"status", "404"}}, "the server answered with status 404", 404},
        Refused{{{"status", "204"}}, "the server answered with status 204", 204},
        Refused{{{"status", "500"}, {"body", ""}}, "the server answered with status 500", 500},
        Refused{{{"unauthorized", "basic"}}, "HTTP credentials input timeout", 401},
        Refused{{{"unauthorized", "digest"}}, "HTTP credentials input timeout", 401},
        Refused{{{"unauthorized", "both"}}, "HTTP credentials input timeout", 401},
        Refused{{{"unauthorized", "unknown"}}, "neither by Digest nor by Basic", 401},
        Refused{{{"unauthorized", "none"}}, "neither by Digest nor by Basic", 401},
        Refused{{{"loop", ""}}, "more than 10 redirects", 302},
        Refused{{{"chain", "11"}}, "more than 10 redirects", 302},
        Refused{{{"nowhere", ""}, {"status", "307"}}, "redirected to nowhere", 307},
        Refused{
            {{"redirect", "pigeon://loft/x"}}, "leads to something else than http and https", 302},
        Refused{{{"close", "start"}}, "closed the connection without an answer", 0},
        Refused{{{"close", "10"}}, "the answer was cut short", 200},
        Refused{{{"reset", "start"}}, "broke the connection without an answer", 0},
        Refused{{{"reset", "0"}}, "the answer was cut short", 200},
        Refused{{{"silence", "start"}}, "the transfer stalled", 0},
        Refused{{{"silence", "10"}}, "the transfer stalled", 200},
        Refused{{{"size", "100000"}, {"rate", "20"}}, "the transfer stalled", 200},
        Refused{{{"length", "longer"}}, "the answer was cut short", 200},
        Refused{{{"length", "negative"}}, "the answer is garbled", 200},
        Refused{{{"length", "twice"}}, "the answer was cut short", 200},
        Refused{{{"gzip", "plain"}}, "the compressed answer is damaged", 200},
        Refused{{{"gzip", "broken"}}, "the compressed answer is damaged", 200},
        Refused{{{"endless-headers", ""}}, "the header of the answer is too large", 200}));

TEST_P(RefusedAnswerTest, FailsWithItsCause) {
    const FaultServer server({answerOf(GetParam().members)});
    EXPECT_THAT(failure(server.url("/x")), HasSubstr(GetParam().cause));
    EXPECT_EQ(downloader().getLastResult().httpStatus(), GetParam().status);
}

struct Taken {
    Members members;
    std::string content;
};

class TakenAnswerTest : public FaultyAnswersTest, public testing::WithParamInterface<Taken> {};

INSTANTIATE_TEST_SUITE_P(
    All, TakenAnswerTest,
    testing::Values(Taken{{{"body", "found"}}, "found"}, Taken{{{"body", ""}}, ""},
                    Taken{{{"size", "1000"}, {"rate", "2000"}}, std::string(1000, 'x')},
                    Taken{{{"chain", "10"}, {"body", "found"}}, "found"},
                    Taken{{{"chain", "1"}, {"status", "308"}, {"body", "found"}}, "found"},
                    Taken{{{"body", "0123456789"}, {"length", "shorter"}}, "01234"},
                    Taken{{{"body", "found"}, {"length", "none"}}, "found"}));

TEST_P(TakenAnswerTest, ArrivesAsItWasSent) {
    const FaultServer server({answerOf(GetParam().members)});
    download(server.url("/x"));
    EXPECT_EQ(content(), GetParam().content);
}

TEST_F(FaultyAnswersTest, AnHtmlPageArrivesInPlaceOfTheFile) {
    const FaultServer server({answerOf({{"html", ""}})});
    download(server.url("/x"));
    EXPECT_THAT(content(), HasSubstr("<html>"));
}

TEST_F(FaultyAnswersTest, TheFirstByteIsAwaited) {
    const FaultServer server({answerOf({{"delay", "0.2"}, {"body", "found"}})});
    const auto begin = std::chrono::steady_clock::now();
    download(server.url("/x"));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 200ms);
    EXPECT_EQ(content(), "found");
}

TEST_F(FaultyAnswersTest, TheRateIsKept) {
    const FaultServer server({answerOf({{"size", "400"}, {"rate", "1000"}})});
    const auto begin = std::chrono::steady_clock::now();
    download(server.url("/x"));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 300ms);
}

TEST_F(FaultyAnswersTest, CredentialsThatFitAreAcceptedInEveryScheme) {
    for (const char* scheme : {"basic", "digest", "both"}) {
        const FaultServer server({answerOf({{"unauthorized", scheme},
                                            {"user", "alice"},
                                            {"password", "sesame"},
                                            {"body", scheme}})});
        const std::string address = server.url("/x").substr(std::string("http://").size());
        download("http://alice:sesame@" + address);
        EXPECT_EQ(content(), scheme);
        EXPECT_THAT(failure("http://alice:wrong@" + address),
                    HasSubstr("HTTP credentials input timeout"));
    }
}

TEST_F(FaultyAnswersTest, AnswersFollowOneAnotherAndDifferByPath) {
    const FaultServer server({answerOf({{"path", "/a"}, {"times", "2"}, {"status", "503"}}),
                              answerOf({{"path", "/a"}, {"body", "back"}})});
    EXPECT_THAT(failure(server.url("/b")), HasSubstr("status 404"));
    for (int count = 0; count < 2; ++count)
        EXPECT_THAT(failure(server.url("/a?query")), HasSubstr("status 503"));
    download(server.url("/a"));
    EXPECT_EQ(content(), "back");
}

TEST_F(FaultyAnswersTest, RedirectsLeadFromHttpsToHttpAndToAnotherHost) {
    const FaultServer target({answerOf({{"body", "found"}})});
    TlsWire::Settings tls;
    tls.server = ca.issueServer({"IP:127.0.0.1"});
    const FaultServer server({answerOf({{"redirect", target.url("/x")}})}, {}, 0, tls);
    EXPECT_THAT(failure(server.url("/x")), HasSubstr("the redirect leads from https to http"));
    const FaultServer other({answerOf({{"redirect", target.url("/y")}, {"status", "303"}})});
    EXPECT_EQ(download(other.url("/x")).serverAddress()->getUrl(), target.url("/y"));
    EXPECT_EQ(content(), "found");
}

} // namespace
