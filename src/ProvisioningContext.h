// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ProvisioningFileContext.h"
#include "ProvisioningStatus.h"

#include <list>

namespace ovo {

/// Result of running one file or one job, and the files that it leaves to be run. Not synchronised.
class ProvisioningContext {
public:
    ProvisioningContext() = default;
    explicit ProvisioningContext(ProvisioningStatus status) : status_(status) {}

    /// Appends a file to the queue.
    void push(const ProvisioningFileContext& file);
    /// Takes the file at the front of the queue, which must not be empty.
    ProvisioningFileContext pop();
    bool empty() const { return files_.empty(); }
    ProvisioningStatus status() const { return status_; }

    /// Merges one reported status, the one rule by which all results are combined: NotSet is
    /// neutral, equal ones stay, different ones make PartSuccess.
    void updateStatus(const ProvisioningStatus& reported);

    /// Takes over another context: its files go to the front of the queue in their own order, so
    /// that the queue is worked depth first; its status is merged. The other is left without files
    /// and with status NotSet.
    void absorb(ProvisioningContext&& other);

    void reset();

private:
    ProvisioningStatus status_ = ProvisioningStatus::NotSet;
    std::list<ProvisioningFileContext> files_;
};

} // namespace ovo
