// SPDX-License-Identifier: Apache-2.0
#include "propertyapi/sqlite/SoundMark.h"

#include "SharedStore.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/logger/LogRecorder.h"
#include "support/process/ChildProcess.h"
#include "support/process/WaitUntil.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>

using propertyapi::PropertyApiException;
using propertyapi::SqlitePropertyApi;
using propertyapi::SqliteSettings;

namespace {

constexpr const char* STORE = "/data/properties.db";
constexpr const char* MARK = "user.ovo.sound";
constexpr int KEYS = 2000;

SqliteSettings inBoot(const std::string& id) {
    SqliteSettings settings;
    settings.bootId = id;
    return settings;
}

/// A store that was closed in order, and what damages it.
class SoundMark : public testing::Test {
protected:
    SoundMark() {
        const SqlitePropertyApi api;
        propertyapi::IPropertyApi::Batch batch;
        for (int i = 0; i < KEYS; ++i)
            batch.emplace_back("Key." + std::to_string(i), std::string(50, 'x'));
        api.setValues(batch, "test");
    }
    void SetUp() override {
        if (::getxattr(file_.c_str(), MARK, nullptr, 0) <= 0)
            GTEST_SKIP() << "the file system keeps no attributes";
    }

    /// Overwrites the database's second half. keepTime: as a failing disk does, which nothing but
    /// reading it tells.
    void damage(bool keepTime) const {
        struct stat before {};
        ASSERT_EQ(::stat(file_.c_str(), &before), 0);
        {
            std::fstream stream(file_, std::ios::in | std::ios::out | std::ios::binary);
            stream.seekp(before.st_size / 2);
            stream << std::string(static_cast<std::size_t>(before.st_size / 2), '\x5a')
                   << std::flush;
            ASSERT_TRUE(stream.good());
        }
        const std::array<timespec, 2> times{before.st_atim, before.st_mtim};
        if (keepTime) {
            ASSERT_EQ(::utimensat(AT_FDCWD, file_.c_str(), times.data(), 0), 0);
        }
    }
    /// Whether the next client finds the damage.
    bool isChecked(const SqliteSettings& settings = {}) const {
        const LogRecorder log;
        const SqlitePropertyApi api(STORE, settings);
        return log.mentions("is damaged");
    }

    const SharedStore store_;
    const std::string file_ = store_.file();
};

TEST_F(SoundMark, StoreThatWasClosedInOrderIsNotReadAsAWholeAgain) {
    damage(true);
    EXPECT_FALSE(isChecked());
    EXPECT_FALSE(isChecked()) << "who only reads leaves the mark";
}

TEST_F(SoundMark, StoreThatWasWrittenToByAClientAndClosedInOrderIsNotReadAgain) {
    SqlitePropertyApi().setValue("Key.1", "2");
    damage(true);
    EXPECT_FALSE(isChecked());
}

TEST_F(SoundMark, StoreWhoseLogWasMovedInBetweenIsNotReadAgain) {
    SqliteSettings settings;
    settings.walWriterLimit = 1;
    {
        const SqlitePropertyApi api(STORE, settings);
        for (const char* value : {"1", "2", "3"})
            api.setValue("Key.1", value);
    }
    damage(true);
    EXPECT_FALSE(isChecked());
}

TEST_F(SoundMark, StoreThatSomebodyElseWroteToIsChecked) {
    damage(false);
    EXPECT_TRUE(isChecked());
}

/// The clock that files are dated by goes on in steps: a write right after the mark may be given
/// the time that the last write before it was.
TEST_F(SoundMark, WriteAtTheMomentOfClosingVoidsIt) {
    store_.root().write("/data/another", "content");
    const std::string another = store_.root().host("/data/another");
    struct stat before {};
    ASSERT_EQ(::stat(another.c_str(), &before), 0);
    const propertyapi::SoundMark mark(posix::HostPath(another), "of the test");
    mark.set();
    EXPECT_TRUE(mark.isValid());
    const std::array<timespec, 2> times{before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, another.c_str(), times.data(), 0), 0);
    EXPECT_FALSE(mark.isValid());
}

TEST_F(SoundMark, StoreOfAnotherBootIsChecked) {
    damage(true);
    EXPECT_TRUE(isChecked(inBoot("another")));
}

TEST_F(SoundMark, CopyIsChecked) {
    damage(true);
    const std::string copy = file_ + ".copy";
    ASSERT_EQ(run({"cp", "-a", file_, copy}).status, 0);
    std::filesystem::rename(copy, file_);
    ASSERT_GT(::getxattr(file_.c_str(), MARK, nullptr, 0), 0) << "the mark was copied too";
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMark, StoreWhoseClientWasKilledIsChecked) {
    {
        ChildProcess client({PROPERTY_CLIENT, "count", "State.Count"});
        ASSERT_TRUE(waitUntil([&] {
            std::error_code missing;
            return std::filesystem::file_size(file_ + "-wal", missing) > 0 && !missing;
        }));
        client.signal(SIGKILL);
        client.wait();
    }
    damage(true);
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMark, StoreThatSomebodyElseWroteToWhileItWasOpenIsChecked) {
    {
        const SqlitePropertyApi api;
        api.setValue("Other", "1");
        damage(false);
    }
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMark, MoveOfTheLogDoesNotHideThatSomebodyElseWrote) {
    SqliteSettings settings;
    settings.walWriterLimit = 1;
    {
        const SqlitePropertyApi api(STORE, settings);
        api.setValue("Other", "1");
        damage(false);
        for (const char* value : {"2", "3"})
            try {
                api.setValue("Other", value);
            } catch (const PropertyApiException&) {
                // it has met the damage
            }
    }
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMark, DamageThatIsMetInUseIsMendedByOpeningAgain) {
    damage(true);
    {
        const SqlitePropertyApi api;
        int failures = 0;
        for (int i = 0; i < KEYS; ++i)
            try {
                api.getValue("Key." + std::to_string(i));
            } catch (const PropertyApiException&) {
                ++failures;
            }
        ASSERT_GT(failures, 0);
    }
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMark, StoreWithoutItIsChecked) {
    damage(true);
    ASSERT_EQ(::removexattr(file_.c_str(), MARK), 0);
    EXPECT_TRUE(isChecked());
}

} // namespace
