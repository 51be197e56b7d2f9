#include "GzipInflater.h"

#include "Gzip.h"

#include <gtest/gtest.h>

namespace {

using http::GzipInflater;

class GzipInflaterTest : public testing::Test {
protected:
    GzipInflater::Result feed(const std::string& bytes) {
        return inflater.feed(bytes.data(), bytes.size(),
                             [this](const char* data, std::size_t size) {
                                 largest = std::max(largest, size);
                                 output.append(data, size);
                                 return output.size() < limit;
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
                       [&](const char* data, std::size_t size) {
                           result.append(data, size);
                           return true;
                       });
        }
        EXPECT_TRUE(fresh.complete());
        EXPECT_EQ(result, content);
    }
}

TEST_F(GzipInflaterTest, IsNotCompleteBeforeTheLastByteOfTheTrailer) {
    const std::string compressed = gzip("content");
    EXPECT_FALSE(inflater.complete()) << "nothing is no stream";
    EXPECT_EQ(feed(compressed.substr(0, compressed.size() - 1)), GzipInflater::Result::Good);
    EXPECT_FALSE(inflater.complete());
    EXPECT_EQ(feed(compressed.substr(compressed.size() - 1)), GzipInflater::Result::Good);
    EXPECT_TRUE(inflater.complete());
}

TEST_F(GzipInflaterTest, ReadsSeveralMembers) {
    EXPECT_EQ(feed(gzip("one") + gzip("two")), GzipInflater::Result::Good);
    EXPECT_EQ(output, "onetwo");
    EXPECT_TRUE(inflater.complete());
}

TEST_F(GzipInflaterTest, FindsDamage) {
    std::string wrongSum = gzip("content");
    wrongSum[wrongSum.size() - 6] ^= 1;
    EXPECT_EQ(feed(wrongSum), GzipInflater::Result::Damaged);
    EXPECT_FALSE(inflater.complete());
    GzipInflater other;
    EXPECT_EQ(other.feed("plain text", 10, [](const char*, std::size_t) { return true; }),
              GzipInflater::Result::Damaged);
}

TEST_F(GzipInflaterTest, StopsWhenTheSinkRefuses) {
    limit = 100000;
    EXPECT_EQ(feed(gzip(std::string(50U << 20U, '0'))), GzipInflater::Result::Refused);
    EXPECT_LT(output.size(), limit + largest);
    EXPECT_LE(largest, 16384U);
}

} // namespace
