// SPDX-License-Identifier: Apache-2.0
#include "Init.h"

#include "GlobalConfig.h"

#include <utility>

namespace ovo {

namespace {

constexpr unsigned int PRECONDITION_ATTEMPTS = 10;
constexpr unsigned int PRECONDITION_INTERVAL_SECONDS = 1;

} // namespace

Init::Init(std::shared_ptr<ProvisioningTimer> provisioningTimer,
           std::shared_ptr<propertyapi::IPropertyApi> store, Sleep sleepOperation)
    : propertyApi(std::move(store))
    , timer(std::move(provisioningTimer))
    , sleep(std::move(sleepOperation)) {}

void Init::start() noexcept {
    updateGlobalConfig();
    timer->init();
}

void Init::updateGlobalConfig() noexcept {
    GlobalConfig::waitForPreconditions(propertyApi, PRECONDITION_ATTEMPTS,
                                       PRECONDITION_INTERVAL_SECONDS, sleep);
}

} // namespace ovo
