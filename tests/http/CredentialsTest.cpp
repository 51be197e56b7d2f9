// SPDX-License-Identifier: Apache-2.0
#include "DownloadFixture.h"
#include "common/Guarded.h"
#include "fault-server/ServerDigest.h"
#include "support/http/FaultyServer.h"
#include "support/http/Nginx.h"

#include <gmock/gmock.h>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using Exchange = FaultyServer::Exchange;
using Then = FaultyServer::Then;

constexpr const char* ASKS_FOR_BASIC = "WWW-Authenticate: Basic realm=\"x\"\r\n";

/// "user:password" as Basic authentication sends it.
std::string basic(const std::string& base64) {
    return "Basic " + base64;
}
constexpr const char* URL_SECRET = "dXJsOnNlY3JldDA=";         // url:secret0
constexpr const char* STORED_SECRET = "c3RvcmVkOnNlY3JldDE=";  // stored:secret1
constexpr const char* FACTORY_SECRET = "ZmFjdG9yeTpzZWNyZXQy"; // factory:secret2
constexpr const char* TYPED_SECRET = "dHlwZWQ6c2VjcmV0Mw==";   // typed:secret3

class CredentialsTest : public DownloadFixture {
protected:
    CredentialsTest() {
        credentials->stored = "stored:secret1";
        credentials->factory = "factory:secret2";
        credentials->typedIn = "typed:secret3";
    }

    ~CredentialsTest() override { EXPECT_FALSE(log.mentions("secret")); }

    /// A server that lets in who presents one of these, and answers them with this status.
    static FaultyServer::Handler accepts(const std::vector<std::string>& accepted,
                                         const std::string& offer = ASKS_FOR_BASIC,
                                         int status = 200) {
        return [accepted, offer, status](Exchange& exchange) {
            const std::string sent = exchange.request().header("authorization");
            const bool good = std::find(accepted.begin(), accepted.end(), sent) != accepted.end();
            exchange.send(good ? answer(status, "let in") : answer(401, "no", offer));
            return Then::Keep;
        };
    }

    static std::vector<std::string> authorizations(const FaultyServer& server) {
        std::vector<std::string> result;
        for (const auto& request : server.requests())
            result.push_back(request.header("authorization"));
        return result;
    }

    static std::string withUrlCredentials(const FaultyServer& server,
                                          const std::string& user = "url:secret0") {
        return "http://" + user + "@127.0.0.1:" + std::to_string(server.port()) + "/x";
    }
};

TEST_F(CredentialsTest, AreNotSentUnlessTheServerAsks) {
    FaultyServer server([](Exchange& exchange) {
        exchange.send(answer(200, "public"));
        return Then::Keep;
    });
    download(withUrlCredentials(server));
    EXPECT_THAT(authorizations(server), ElementsAre(""));
    EXPECT_THAT(credentials->calls(), IsEmpty());
}

TEST_F(CredentialsTest, AreTriedInOrderEachOnce) {
    FaultyServer server(accepts({}));
    EXPECT_THAT(failure(withUrlCredentials(server)),
                HasSubstr("failed: the server refused the credentials"));
    EXPECT_THAT(authorizations(server), ElementsAre("", basic(URL_SECRET), basic(STORED_SECRET),
                                                    basic(FACTORY_SECRET), basic(TYPED_SECRET)));
    EXPECT_THAT(credentials->calls(), ElementsAre("stored", "factory", "typed in"));
    EXPECT_EQ(downloader().getLastResult().httpStatus(), 401);
}

TEST_F(CredentialsTest, OfTheUrlAreEnoughWhenTheServerTakesThem) {
    FaultyServer server(accepts({basic(URL_SECRET)}));
    const auto result = download(withUrlCredentials(server));
    EXPECT_EQ(content(), "let in");
    EXPECT_EQ(result.serverAddress()->getUrl(), server.url("/x"));
    EXPECT_THAT(credentials->calls(), IsEmpty());
}

TEST_F(CredentialsTest, OfTheUrlAreSentWithTheirEscapesDecoded) {
    FaultyServer server(accepts({basic("dXNlckBob21lOnAvdw==")})); // user@home:p/w
    download(withUrlCredentials(server, "user%40home:p%2Fw"));
    EXPECT_EQ(content(), "let in");
}

TEST_F(CredentialsTest, OfTheStoreComeNext) {
    FaultyServer server(accepts({basic(STORED_SECRET)}));
    download(server.url("/x"));
    EXPECT_EQ(content(), "let in");
    EXPECT_THAT(credentials->calls(), ElementsAre("stored"));
}

TEST_F(CredentialsTest, OfTheFactoryComeThird) {
    FaultyServer server(accepts({basic(FACTORY_SECRET)}));
    download(server.url("/x"));
    EXPECT_EQ(content(), "let in");
    EXPECT_THAT(credentials->calls(), ElementsAre("stored", "factory"));
}

TEST_F(CredentialsTest, TypedInAreStoredWhenTheServerAcceptsThem) {
    FaultyServer server(accepts({basic(TYPED_SECRET)}));
    download(server.url("/x"));
    EXPECT_EQ(content(), "let in");
    EXPECT_THAT(credentials->calls(),
                ElementsAre("stored", "factory", "typed in", "save typed:secret3"));
}

TEST_F(CredentialsTest, TypedInAreNotStoredWhenTheServerRefusesThem) {
    FaultyServer server(accepts({}));
    failure(server.url("/x"));
    EXPECT_THAT(credentials->calls(), ElementsAre("stored", "factory", "typed in"));
}

/// A status that is neither a success nor asks for credentials, and whether it takes them.
class CredentialsAnswer : public CredentialsTest,
                          public testing::WithParamInterface<std::pair<int, bool>> {};

TEST_P(CredentialsAnswer, DecidesWhetherThoseTypedInAreStored) {
    const auto [status, taken] = GetParam();
    FaultyServer server(accepts({basic(TYPED_SECRET)}, ASKS_FOR_BASIC, status));
    failure(server.url("/x"));
    EXPECT_EQ(credentials->calls().back(), taken ? "save typed:secret3" : "typed in");
}

INSTANTIATE_TEST_SUITE_P(Statuses, CredentialsAnswer,
                         testing::Values(std::pair(400, true), std::pair(403, false),
                                         std::pair(404, true), std::pair(407, false),
                                         std::pair(499, true), std::pair(500, false),
                                         std::pair(503, false)),
                         [](const auto& status) { return std::to_string(status.param.first); });

TEST_F(CredentialsTest, TypedInThatCannotBeStoredDoNotSpoilTheDownload) {
    credentials->failSaving("store is busy");
    FaultyServer server(accepts({basic(TYPED_SECRET)}));
    download(server.url("/x"));
    EXPECT_EQ(content(), "let in");
    EXPECT_TRUE(log.has(2, "The credentials typed in are not stored: store is busy"));
}

TEST_F(CredentialsTest, NotTypedInInTimeAreTheCauseOfTheFailure) {
    credentials->typedIn = std::nullopt;
    FaultyServer server(accepts({}));
    EXPECT_EQ(failure(server.url("/x")),
              "Download from 127.0.0.1:" + std::to_string(server.port()) +
                  " failed: HTTP credentials input timeout");
    EXPECT_EQ(downloader().getLastResult().httpStatus(), 401);
}

TEST_F(CredentialsTest, AConfiguredTimeThatIsNoNumberIsSaidToBe) {
    credentials->askingFails = std::make_exception_ptr(std::invalid_argument("stoul"));
    FaultyServer server(accepts({}));
    EXPECT_EQ(failure(server.url("/x")),
              "Download from 127.0.0.1:" + std::to_string(server.port()) +
                  " failed: the configured time to wait for typed-in credentials is not a number: "
                  "stoul");
}

TEST_F(CredentialsTest, ThatAreEmptyAreSkipped) {
    credentials->stored = ":";
    credentials->factory = "";
    credentials->typedIn = ":";
    FaultyServer server(accepts({}));
    EXPECT_THAT(failure(server.url("/x")),
                HasSubstr("failed: the server asks for credentials, and there are none"));
    EXPECT_THAT(authorizations(server), ElementsAre(""));
}

TEST_F(CredentialsTest, AreAskedForAnewInEachDownload) {
    FaultyServer server(accepts({basic(STORED_SECRET)}));
    download(server.url("/x"));
    download(server.url("/x"));
    EXPECT_THAT(authorizations(server),
                ElementsAre("", basic(STORED_SECRET), "", basic(STORED_SECRET)));
    EXPECT_THAT(credentials->calls(), ElementsAre("stored", "stored"));
}

TEST_F(CredentialsTest, SatisfyARealServersBasicAuthentication) {
    const Nginx nginx("location /closed/ { auth_basic x; auth_basic_user_file @DIR@/users; }");
    nginx.put("users", "stored:{PLAIN}secret1\n");
    nginx.publish("/closed/x", "let in");
    credentials->stored = "stored:wrong";
    credentials->factory = "stored:secret1";
    download(nginx.url("/closed/x"));
    EXPECT_EQ(content(), "let in");
    const auto accesses = nginx.accesses(3);
    ASSERT_THAT(accesses, SizeIs(3));
    EXPECT_EQ(accesses[0].authorization, "-");
    EXPECT_EQ(accesses[0].connection, accesses[2].connection) << "over one connection";
}

TEST_F(CredentialsTest, AreSentByDigestWhereItIsOffered) {
    const ServerDigest digest("factory", "secret2");
    FaultyServer server([&](Exchange& exchange) {
        exchange.send(digest.accepts(exchange.request())
                          ? answer(200, "let in")
                          : answer(401, "no", ASKS_FOR_BASIC + digest.challenge()));
        return Then::Keep;
    });
    download(server.url("/x"));
    EXPECT_EQ(content(), "let in");
    EXPECT_THAT(authorizations(server), Not(Contains(HasSubstr("Basic"))));
}

TEST_F(CredentialsTest, AreNotSentWhereNeitherDigestNorBasicIsOffered) {
    FaultyServer server(accepts({}, "WWW-Authenticate: Bearer\r\n"));
    EXPECT_THAT(failure(withUrlCredentials(server)), HasSubstr("neither by Digest nor by Basic"));
    EXPECT_THAT(authorizations(server), ElementsAre(""));
    EXPECT_THAT(credentials->calls(), IsEmpty());
}

TEST_F(CredentialsTest, GoNotToTheTargetOfARedirectElsewhere) {
    const Nginx elsewhere("location = /open { } location / { auth_basic x; "
                          "auth_basic_user_file @DIR@/users; }");
    elsewhere.put("users", "stored:{PLAIN}secret1\n");
    elsewhere.publish("/open", "open");
    elsewhere.publish("/x", "let in");
    common::Guarded<std::string> target;
    FaultyServer server([&](Exchange& exchange) {
        exchange.send(exchange.request().header("authorization").empty()
                          ? answer(401, "", ASKS_FOR_BASIC)
                          : answer(302, "", "Location: " + target.get() + "\r\n"));
        return Then::Keep;
    });
    target.set(elsewhere.url("/open"));
    download(server.url("/x"));
    EXPECT_EQ(content(), "open");
    target.set(elsewhere.url("/x"));
    EXPECT_THAT(failure(server.url("/x")),
                HasSubstr("failed: the server asks for credentials, which the target of a redirect "
                          "does not get"));
    for (const auto& access : elsewhere.accesses(2))
        EXPECT_EQ(access.authorization, "-");
}

TEST_F(CredentialsTest, ElsewhereIsAnotherHostNameToo) {
    common::Guarded<std::uint16_t> port;
    FaultyServer server([&](Exchange& exchange) {
        if (exchange.request().header("host").rfind("localhost", 0) == 0)
            exchange.send(answer(200, "found"));
        else if (exchange.request().header("authorization").empty())
            exchange.send(answer(401, "", ASKS_FOR_BASIC));
        else
            exchange.send(answer(
                302, "", "Location: http://localhost:" + std::to_string(port.get()) + "/x\r\n"));
        return Then::Keep;
    });
    port.set(server.port());
    download(server.url("/x"));
    EXPECT_THAT(authorizations(server), ElementsAre("", basic(STORED_SECRET), ""));
}

TEST_F(CredentialsTest, StayInUseForARedirectAtTheSameServer) {
    FaultyServer server([](Exchange& exchange) {
        const auto& request = exchange.request();
        if (request.header("authorization") != basic(TYPED_SECRET))
            exchange.send(answer(401, "", ASKS_FOR_BASIC));
        else if (request.target == "/x")
            exchange.send(answer(302, "", "Location: /y\r\n"));
        else
            exchange.send(answer(200, "let in"));
        return Then::Keep;
    });
    credentials->stored = ":";
    credentials->factory = "";
    download(server.url("/x"));
    EXPECT_EQ(content(), "let in");
    EXPECT_THAT(server.requests(), SizeIs(3));
    EXPECT_THAT(credentials->calls(),
                ElementsAre("stored", "factory", "typed in", "save typed:secret3"));
}

TEST_F(CredentialsTest, AreUsedAgainWhenARedirectComesBack) {
    common::Guarded<std::string> home;
    FaultyServer elsewhere([&](Exchange& exchange) {
        exchange.send(answer(302, "", "Location: " + home.get() + "\r\n"));
        return Then::Keep;
    });
    FaultyServer server([&](Exchange& exchange) {
        const auto& request = exchange.request();
        if (request.header("authorization").empty())
            exchange.send(answer(401, "", ASKS_FOR_BASIC));
        else
            exchange.send(request.target == "/x"
                              ? answer(302, "", "Location: " + elsewhere.url("/y") + "\r\n")
                              : answer(200, "let in"));
        return Then::Keep;
    });
    home.set(server.url("/z"));
    download(server.url("/x"));
    EXPECT_EQ(content(), "let in");
    EXPECT_THAT(authorizations(elsewhere), ElementsAre(""));
    EXPECT_THAT(credentials->calls(), ElementsAre("stored"));
}

} // namespace
