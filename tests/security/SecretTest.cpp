// SPDX-License-Identifier: Apache-2.0
#include "http/Secret.h"

#include "http/Security.h"
#include "support/http/TestCa.h"
#include "support/process/PhoneRoot.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

// This program looks into every block of the C++ heap that is given back.

namespace {

constexpr std::string_view NEEDLE = "needle-in-the-heap";
std::atomic<bool> looking{false};
std::atomic<int> found{0};

void release(void* block) {
    if (looking && block != nullptr) {
        const std::string_view content(static_cast<const char*>(block),
                                       ::malloc_usable_size(block));
        if (content.find(NEEDLE) != std::string_view::npos)
            ++found;
    }
    std::free(block);
}

} // namespace

void* operator new(std::size_t size) {
    if (void* block = std::malloc(size))
        return block;
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept {
    release(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
    release(block);
}

namespace {

/// How many blocks with the needle are given back during an action.
template <typename Action>
int leftBehind(Action action) {
    found = 0;
    looking = true;
    action();
    looking = false;
    return found;
}

TEST(Secret, IsATextThatCopiesShare) {
    const http::Secret secret("abc");
    const http::Secret copy = secret; // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.text(), "abc");
    EXPECT_EQ(&copy.text(), &secret.text());
    EXPECT_EQ(secret, http::Secret(std::string("abc")));
    EXPECT_FALSE(secret == http::Secret("abd"));
    EXPECT_FALSE(secret.empty());
    EXPECT_TRUE(http::Secret().empty());
    EXPECT_EQ(http::Secret(), http::Secret(""));
}

TEST(Secret, OverwritesWhatAMoveLeavesBehind) {
    std::string source = "short";
    const auto* place = reinterpret_cast<const char*>(&source); // it lies in the object itself
    const std::string_view object(place, sizeof(std::string));
    ASSERT_NE(object.find("short"), std::string_view::npos);
    const http::Secret secret(std::move(source));
    EXPECT_EQ(secret.text(), "short");
    EXPECT_EQ(object.find("hort"), std::string_view::npos);
}

TEST(Secret, IsOverwrittenWhenTheLastCopyGoes) {
    const std::string needle(NEEDLE);
    EXPECT_EQ(leftBehind([&] { static_cast<void>(std::make_unique<std::string>(needle)); }), 1)
        << "the test sees it";
    EXPECT_EQ(leftBehind([&] {
                  http::Secret first(needle);
                  http::Secret second = first;
                  first = http::Secret("other");
                  EXPECT_EQ(second.text(), needle);
                  second = first;
              }),
              0);
}

TEST(Secret, ThePasswordOfTheClientKeyIsNotLeftInTheHeap) {
    const std::string password(NEEDLE);
    const PhoneRoot phone;
    const TestIdentity identity = TestCa("CA").issueClient("phone", password);
    phone.write("/data/certs/client/user_cert.pem", identity.certificate);
    phone.write("/data/certs/client/user_key.pem", identity.key);
    phone.write("/data/certs/client/user_pass.txt", password);
    EXPECT_EQ(leftBehind([&] {
                  for (int start = 0; start < 2; ++start) {
                      const http::Security security(nullptr);
                      const auto offered = security.getClientIdentity();
                      ASSERT_TRUE(offered);
                      EXPECT_TRUE(offered->password.text() == password);
                  }
              }),
              0);
}

} // namespace
