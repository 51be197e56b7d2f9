// SPDX-License-Identifier: Apache-2.0
// Parameters that there is no memory to copy. The program brings its own operator new, which has
// nothing for large pieces while a test says so.

#include "JobHandlers/NVMJobHandler.h"
#include "JobTest.h"
#include "support/memory/AllocationLimit.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <string>

namespace {

constexpr std::size_t LARGE = 8'000'000;
constexpr std::size_t LIMIT = 1'000'000;

class ParameterMemoryTest : public JobTest {};

TEST_F(ParameterMemoryTest, AValueThatCannotBeCopiedIsLeftOutAndTheOthersAreSet) {
    ovo::ProvisioningNode node{
        "settings",
        "param",
        {{{"name", "A"}, {"value", std::string(LARGE, 'x')}}, {{"name", "B"}, {"value", "2"}}}};
    ovo::NVMJobHandler handler(node, store, progress, report);
    report.begin("http://10.0.0.5/prov/p.xml");
    ovo::ProvisioningStatus status{};
    {
        const AllocationLimit limit(LIMIT);
        status = handler.runImpl().status();
    }
    EXPECT_EQ(status, ovo::ProvisioningStatus::Success);
    EXPECT_EQ(store->getValue("B"), "2");
    EXPECT_EQ(store->getValue("A"), "");
    EXPECT_EQ(log.count(3, "Parameter preparation failed: a parameter that there is no memory to "
                           "name (exception std::bad_alloc)"),
              1U);
    report.end(status, 0);
    EXPECT_THAT(log.texts().back(),
                testing::HasSubstr("parameters requested 2 applied 1 refused 1"));
}

} // namespace
