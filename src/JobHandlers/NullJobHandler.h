// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "JobHandlers/IJobHandler.h"

namespace ovo {

/// Handler of nodes that no job knows: fails without a word, since the builder has warned.
class NullJobHandler final : public IJobHandler {
public:
    ProvisioningContext run() override;
    const std::string& getName() const override;
};

} // namespace ovo
