// SPDX-License-Identifier: Apache-2.0
#include "http/UrlException.h"
#include "http/UrlInfo.h"

#include <gtest/gtest.h>

namespace {

using http::UrlInfo;

UrlInfo directoryUrl() {
    UrlInfo url;
    url.scheme = "https";
    url.host = "10.0.0.5";
    url.path = "/cfg/";
    url.fileName = "a.xml";
    return url;
}

TEST(UrlInfo, DefaultsAreEmptyAndEqual) {
    const UrlInfo url;
    EXPECT_EQ(url.port, 0U);
    EXPECT_TRUE(url.scheme.empty() && url.host.empty() && url.path.empty() &&
                url.fileName.empty() && url.user.empty() && url.password.empty());
    EXPECT_EQ(url, UrlInfo());
}

TEST(UrlInfo, AbsolutePathIsTheDirectoryOfTheFile) {
    UrlInfo url = directoryUrl();
    EXPECT_EQ(url.getAbsolutePath(), "https://10.0.0.5/cfg/");
    url.port = 8443;
    EXPECT_EQ(url.getAbsolutePath(), "https://10.0.0.5:8443/cfg/");
    url.user = "u";
    url.password = "p";
    EXPECT_EQ(url.getAbsolutePath(), "https://10.0.0.5:8443/cfg/");
}

TEST(UrlInfo, UrlCarriesCredentialsOnlyWhenBothAreSet) {
    UrlInfo url = directoryUrl();
    EXPECT_EQ(url.getUrl(), "https://10.0.0.5/cfg/a.xml");
    url.user = "u";
    EXPECT_FALSE(url.hasCredentials());
    EXPECT_EQ(url.getUrl(), "https://10.0.0.5/cfg/a.xml");
    url.password = "p";
    EXPECT_TRUE(url.hasCredentials());
    EXPECT_EQ(url.getUrl(), "https://u:p@10.0.0.5/cfg/a.xml");
}

TEST(UrlInfo, EqualityLooksAtEveryField) {
    const UrlInfo base = directoryUrl();
    for (auto field : {&UrlInfo::scheme, &UrlInfo::host, &UrlInfo::path, &UrlInfo::fileName,
                       &UrlInfo::user, &UrlInfo::password}) {
        UrlInfo other = base;
        other.*field += "x";
        EXPECT_FALSE(base == other);
    }
    UrlInfo other = base;
    other.port = 1;
    EXPECT_FALSE(base == other);
}

TEST(UrlException, CarriesItsText) {
    EXPECT_STREQ(http::UrlException("Url is incorrect, please verify").what(),
                 "Url is incorrect, please verify");
}

TEST(WithoutCredentials, CutsUserAndPassword) {
    EXPECT_EQ(http::withoutCredentials("https://u:p@10.0.0.5/a@b"), "https://10.0.0.5/a@b");
    EXPECT_EQ(http::withoutCredentials("https://u:p@q@10.0.0.5"), "https://10.0.0.5");
    EXPECT_EQ(http::withoutCredentials("https://10.0.0.5/a@b"), "https://10.0.0.5/a@b");
    EXPECT_EQ(http::withoutCredentials("no url"), "no url");
}

} // namespace
