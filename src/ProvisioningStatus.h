// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace ovo {

/// Outcome of a run or of one job. Stored, compared and published as a number elsewhere.
enum class ProvisioningStatus : int {
    Fail = 0,
    PartSuccess = 1, ///< some parts succeeded and some did not
    Success = 2,
    NotSet = 3 ///< nothing has reported yet; neutral when merged
};

} // namespace ovo
