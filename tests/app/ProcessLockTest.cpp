// SPDX-License-Identifier: Apache-2.0
#include "app/ProcessLock.h"

#include "RecordingApplication.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace {

using app::ProcessLock;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char PATH[] = "/run/halden/prov-client.lock";

class ProcessLockTest : public testing::Test {
protected:
    /// Text of the refusal; empty when there is none.
    static std::string refusalOf(const std::string& name) {
        try {
            const ProcessLock lock(name);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return {};
    }

    const PhoneRoot phone;
    const LogRecorder log;
};

TEST_F(ProcessLockTest, IsForOneAtATimeAndNamesWhoHasIt) {
    {
        const ProcessLock lock("prov-client");
        EXPECT_EQ(phone.read(PATH), std::to_string(::getpid()) + "\n");
        EXPECT_EQ(refusalOf("prov-client"), "Another process (" + std::to_string(::getpid()) +
                                                ") serves as prov-client already: it holds the "
                                                "lock /run/halden/prov-client.lock");
    }
    EXPECT_EQ(refusalOf("prov-client"), "") << "free again";
    EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(ProcessLockTest, OthersCannotOpenItAndSoCannotHoldIt) {
    const ProcessLock lock("prov-client");
    EXPECT_EQ(std::filesystem::status(phone.host(PATH)).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(ProcessLockTest, IsOneForEachName) {
    const ProcessLock lock("prov-client");
    EXPECT_EQ(refusalOf("sip-client"), "");
}

TEST_F(ProcessLockTest, AFileThatIsLeftDoesNotCount) {
    phone.write(PATH, "4711 and more than a number needs\n");
    const ProcessLock lock("prov-client");
    EXPECT_EQ(phone.read(PATH), std::to_string(::getpid()) + "\n");
}

TEST_F(ProcessLockTest, SaysWhatItCanWhereNobodyIsNamed) {
    const ProcessLock lock("prov-client");
    phone.write(PATH, ""); // the same file, emptied
    EXPECT_EQ(refusalOf("prov-client"), "Another process serves as prov-client already: it holds "
                                        "the lock /run/halden/prov-client.lock");
}

TEST_F(ProcessLockTest, WhereItCannotBeTakenALineSaysSo) {
    phone.write("/run", "a file in the place of the directory");
    const ProcessLock lock("prov-client");
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines().front().level, 2);
    EXPECT_THAT(log.lines().front().text, HasSubstr(PATH));
    EXPECT_THAT(log.lines().front().text, HasSubstr("Not a directory"));
}

TEST_F(ProcessLockTest, IsNotTakenThroughAPlantedLink) {
    phone.write("/etc/passwd", "content");
    std::filesystem::create_directories(phone.host("/run/halden"));
    std::filesystem::create_symlink(phone.host("/etc/passwd"), phone.host(PATH));
    const ProcessLock lock("prov-client");
    EXPECT_EQ(phone.read("/etc/passwd"), "content");
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(ProcessLockTest, ASecondServiceOfTheNameDoesNotBegin) {
    const ProcessLock lock("recorder");
    RecordingApplication application;
    EXPECT_THROW(application.exec(), std::runtime_error);
    EXPECT_THAT(application.calls(), ElementsAre("signalTermination", "cleanup"));
    EXPECT_FALSE(phone.exists("/data"));
}

TEST_F(ProcessLockTest, IsHeldUntilTheServiceHasGone) {
    std::optional<RecordingApplication> application(std::in_place);
    application->hooks.waitForTermination = [&] {
        EXPECT_NE(refusalOf("recorder"), "");
        application->signalTermination();
    };
    application->exec();
    EXPECT_NE(refusalOf("recorder"), "");
    application.reset();
    EXPECT_EQ(refusalOf("recorder"), "");
}

} // namespace
