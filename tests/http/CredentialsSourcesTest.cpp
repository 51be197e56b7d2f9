// SPDX-License-Identifier: Apache-2.0
#include "http/downloader/CredentialsSources.h"

#include "support/http/FakeCredentialsProvider.h"

#include <gmock/gmock.h>

namespace {

using http::CredentialsSources;
using http::UrlInfo;
using testing::ElementsAre;
using testing::IsEmpty;

class CredentialsSourcesTest : public testing::Test {
protected:
    /// All that the sources give, as "USER:PASSWORD".
    std::vector<std::string> all(const std::string& url) {
        CredentialsSources sources(UrlInfo(url), provider);
        std::vector<std::string> result;
        while (const auto credentials = sources.next())
            result.push_back(credentials->user + ":" + credentials->password.text() +
                             (credentials->typedIn ? " typed in" : ""));
        EXPECT_EQ(sources.anyTried(), !result.empty());
        EXPECT_FALSE(sources.next());
        return result;
    }

    std::shared_ptr<FakeCredentialsProvider> provider = std::make_shared<FakeCredentialsProvider>();
};

TEST_F(CredentialsSourcesTest, GiveEachOnceInOrder) {
    provider->stored = "stored:1";
    provider->factory = "factory:2";
    provider->typedIn = "typed:3";
    EXPECT_THAT(all("http://url:0@h/"),
                ElementsAre("url:0", "stored:1", "factory:2", "typed:3 typed in"));
    EXPECT_THAT(provider->calls(), ElementsAre("stored", "factory", "typed in"));
}

TEST_F(CredentialsSourcesTest, AskASourceOnlyWhenItsTurnHasCome) {
    provider->stored = "stored:1";
    CredentialsSources sources(UrlInfo("http://url:0@h/"), provider);
    EXPECT_EQ(sources.next()->user, "url");
    EXPECT_THAT(provider->calls(), IsEmpty());
    EXPECT_EQ(sources.next()->user, "stored");
    EXPECT_THAT(provider->calls(), ElementsAre("stored"));
}

TEST_F(CredentialsSourcesTest, SkipEmptyOnesAndHalves) {
    provider->typedIn = ":";
    for (const auto& [stored, factory] : std::vector<std::pair<std::string, std::string>>{
             {":", ""}, {"user:", ":secret"}, {"no colon", ""}}) {
        provider->stored = stored;
        provider->factory = factory;
        EXPECT_THAT(all("http://h/"), IsEmpty()) << stored << " " << factory;
    }
}

TEST_F(CredentialsSourcesTest, SplitAtTheFirstColon) {
    provider->stored = "user:pass:word:";
    provider->typedIn = ":";
    EXPECT_THAT(all("http://h/"), ElementsAre("user:pass:word:"));
}

TEST_F(CredentialsSourcesTest, SkipThoseThatWereTriedBefore) {
    provider->stored = "same:1";
    provider->factory = "same:1";
    provider->typedIn = "same:1";
    EXPECT_THAT(all("http://same:1@h/"), ElementsAre("same:1"));
}

TEST_F(CredentialsSourcesTest, SkipThoseWithControlCharacters) {
    provider->stored = "user\r\nX: y:1";
    provider->factory = "user:1\n";
    provider->typedIn = "user:1";
    EXPECT_THAT(all("http://u%0d%0a:p@h/"), ElementsAre("user:1 typed in"));
}

TEST_F(CredentialsSourcesTest, DecodePercentEscapesOfTheUrlAndOfNothingElse) {
    provider->stored = "a%40b:1%3A2";
    provider->typedIn = ":";
    EXPECT_THAT(all("http://a%40b:%2F%3a%zz%4@h/"), ElementsAre("a@b:/:%zz%4", "a%40b:1%3A2"));
}

TEST_F(CredentialsSourcesTest, PassOnThatTheUserDidNotAnswer) {
    CredentialsSources sources(UrlInfo("http://h/"), provider);
    EXPECT_THROW(sources.next(), std::runtime_error);
    EXPECT_FALSE(sources.next()) << "a source is asked once";
}

TEST_F(CredentialsSourcesTest, AreThoseOfTheUrlWithoutAProvider) {
    provider = nullptr;
    EXPECT_THAT(all("http://u:p@h/"), ElementsAre("u:p"));
}

} // namespace
