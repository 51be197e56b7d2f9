// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "JobHandlers/IJobHandler.h"

namespace ovo {

/// Handler of unknown nodes: fails without a log line, because the builder has warned.
class NullJobHandler final : public IJobHandler {
public:
    ProvisioningContext run() override;
    const std::string& getName() const override;
};

} // namespace ovo
