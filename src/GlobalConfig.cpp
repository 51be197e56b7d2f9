// SPDX-License-Identifier: Apache-2.0
#include "GlobalConfig.h"

#include "Vocabulary.h"
#include "logger/Logger.h"

namespace ovo {

const std::string GlobalConfig::PROVISIONING_VERSION = "1.1";

void GlobalConfig::waitForPreconditions(std::shared_ptr<propertyapi::IPropertyApi> propertyApi,
                                        unsigned int maxAttempts, unsigned int intervalSeconds,
                                        const Sleep& sleep) {
    LOG(1) << "Waiting for factory auth user name and password";
    bool met = arePreconditionsMet(*propertyApi);
    bool isEnding = false;
    for (unsigned int attempts = 0; !met && !isEnding && attempts < maxAttempts; ++attempts) {
        LOG(1) << "Waiting for auth user name and password";
        isEnding = !sleep(std::chrono::seconds(intervalSeconds));
        met = !isEnding && arePreconditionsMet(*propertyApi);
    }
    if (!met && !isEnding)
        LOG(1) << "Cannot read auth user name or password";
    LOG(1) << (met ? "Preconditions are met" : "Preconditions are not met");
}

bool GlobalConfig::arePreconditionsMet(const propertyapi::IPropertyApi& propertyApi) {
    bool met = true;
    try {
        const std::string user = propertyApi.getValue(keys::FACTORY_USER);
        const std::string password = propertyApi.getValue(keys::FACTORY_PASSWORD);
        met = !user.empty() && !password.empty();
    } catch (const std::exception& exception) {
        LOG(3) << "Error getting value from propApi, exception: " << exception.what();
    }
    return met;
}

} // namespace ovo
