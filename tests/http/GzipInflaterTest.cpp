// SPDX-License-Identifier: Apache-2.0
#include "http/curl/GzipInflater.h"

#include "Gzip.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using http::GzipInflater;

class GzipInflaterTest : public testing::Test {
protected:
    bool feed(const std::string& bytes) {
        return inflater.feed(bytes.data(), bytes.size(),
                             [this](const char* data, std::size_t size) {
                                 largest = std::max(largest, size);
                                 output.append(data, size);
                                 if (output.size() >= limit)
                                     throw std::length_error("enough");
                             });
    }

    GzipInflater inflater;
    std::string output;
    std::size_t largest = 0;
    std::size_t limit = 1U << 30U;
};

TEST_F(GzipInflaterTest, GivesTheContentWhateverThePieces) {
    std::string content;
    for (int line = 0; line < 20000; ++line)
        content += std::to_string(line * 7919) + "\n";
    const std::string compressed = gzip(content);
    for (std::size_t piece : {std::size_t{1}, std::size_t{7}, std::size_t{4096}}) {
        GzipInflater fresh;
        std::string result;
        for (std::size_t at = 0; at < compressed.size(); at += piece) {
            EXPECT_FALSE(fresh.complete());
            fresh.feed(compressed.data() + at, std::min(piece, compressed.size() - at),
                       [&](const char* data, std::size_t size) { result.append(data, size); });
        }
        EXPECT_TRUE(fresh.complete());
        EXPECT_EQ(result, content);
    }
}

TEST_F(GzipInflaterTest, IsNotCompleteBeforeTheLastByteOfTheTrailer) {
    const std::string compressed = gzip("content");
    EXPECT_FALSE(inflater.complete()) << "nothing is no stream";
    EXPECT_TRUE(feed(compressed.substr(0, compressed.size() - 1)));
    EXPECT_FALSE(inflater.complete());
    EXPECT_TRUE(feed(compressed.substr(compressed.size() - 1)));
    EXPECT_TRUE(inflater.complete());
}

TEST_F(GzipInflaterTest, ReadsSeveralMembers) {
    EXPECT_TRUE(feed(gzip("one") + gzip("two")));
    EXPECT_EQ(output, "onetwo");
    EXPECT_TRUE(inflater.complete());
}

TEST_F(GzipInflaterTest, FindsDamage) {
    std::string wrongSum = gzip("content");
    wrongSum[wrongSum.size() - 6] ^= 1;
    EXPECT_FALSE(feed(wrongSum));
    EXPECT_FALSE(inflater.complete());
    GzipInflater other;
    EXPECT_FALSE(other.feed("plain text", 10, [](const char*, std::size_t) {}));
}

TEST_F(GzipInflaterTest, StopsWhenTheSinkThrows) {
    limit = 100000;
    EXPECT_THROW(feed(gzip(std::string(50U << 20U, '0'))), std::length_error);
    EXPECT_LT(output.size(), limit + largest);
    EXPECT_LE(largest, 16384U);
}

} // namespace
