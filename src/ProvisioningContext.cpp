// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningContext.h"

#include <utility>

namespace ovo {

void ProvisioningContext::push(const ProvisioningFileContext& file) {
    files_.push_back(file);
}

ProvisioningFileContext ProvisioningContext::pop() {
    ProvisioningFileContext file = std::move(files_.front());
    files_.pop_front();
    return file;
}

void ProvisioningContext::updateStatus(const ProvisioningStatus& reported) {
    if (reported == ProvisioningStatus::NotSet)
        return;
    if (status_ == ProvisioningStatus::NotSet)
        status_ = reported;
    else if (reported != status_)
        status_ = ProvisioningStatus::PartSuccess;
}

void ProvisioningContext::absorb(ProvisioningContext&& other) {
    files_.splice(files_.begin(), other.files_);
    updateStatus(other.status_);
    other.status_ = ProvisioningStatus::NotSet;
}

void ProvisioningContext::reset() {
    status_ = ProvisioningStatus::NotSet;
    files_.clear();
}

} // namespace ovo
