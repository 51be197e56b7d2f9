// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/FirmwareJobHandler.h"
#include "JobHandlers/IJobHandlerBuilder.h"
#include "JobHandlers/IProvisioningFileParser.h"
#include "ProvisioningTimer.h"
#include "ProvisioningWatchdog/IProvisioning.h"
#include "ProvisioningWatchdog/IProvisioningWorker.h"
#include "SlotOf.h"

#include <gtest/gtest.h>

namespace {

TEST(JobSlots, InterfaceOfAHandlerHasNoVirtualDestructor) {
    EXPECT_EQ(slotOf(&ovo::IJobHandler::run), 1U);
    EXPECT_EQ(slotOf(&ovo::IJobHandler::getName), 2U);
}

TEST(JobSlots, HandlersHaveTheirDestructorBetweenInterfaceAndJob) {
    EXPECT_EQ(slotOf(&ovo::JobHandler::run), 1U);
    EXPECT_EQ(slotOf(&ovo::JobHandler::getName), 2U);
    EXPECT_EQ(slotOf(&ovo::JobHandler::runImpl), 5U);
    EXPECT_EQ(slotOf(&ovo::FirmwareJobHandler::getVersion), 6U);
}

TEST(JobSlots, BuilderAndParserHaveTheirDestructorFirst) {
    EXPECT_EQ(slotOf(&ovo::IJobHandlerBuilder::makeJobHandler), 3U);
    EXPECT_EQ(slotOf(&ovo::IProvisioningFileParser::parse), 3U);
}

TEST(JobSlots, WorkerAndRunHaveTheirDestructorLast) {
    EXPECT_EQ(slotOf(&IProvisioningWorker::startProvisioning), 1U);
    EXPECT_EQ(slotOf(&IProvisioningWorker::waitForProgress), 2U);
    EXPECT_EQ(slotOf(&IProvisioningWorker::isProvisioningFinished), 3U);
    EXPECT_EQ(slotOf(&ovo::IProvisioning::execute), 1U);
}

TEST(JobSlots, TimerHasItsDestructorFirst) {
    EXPECT_EQ(slotOf(&ovo::ProvisioningTimer::startTimer), 3U);
    EXPECT_EQ(slotOf(&ovo::ProvisioningTimer::stopTimers), 4U);
}

} // namespace
