// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace version {

/// A firmware version: two to four decimal numbers separated by dots, compared number by number,
/// missing ones as 0. Anything else is an invalid version. A value type; never throws on bad text.
class HaldenFirmwareVersion {
public:
    /// How a candidate relates to the installed version.
    enum Comparison : int {
        NEWER = 0,          ///< the candidate is newer
        OLDER = 1,          ///< the candidate is older
        EQUAL = 2,          ///< both are the same
        INVALID = 3,        ///< the candidate is not a version
        NOT_UPGRADEABLE = 4 ///< the candidate is for another hardware generation (first number)
    };

    /// The version installed on the phone. Invalid when it is missing or malformed.
    HaldenFirmwareVersion();
    explicit HaldenFirmwareVersion(const std::string& text);

    /// Compares this, the installed version, with a candidate. With an invalid installed version
    /// every valid candidate is NOT_UPGRADEABLE.
    int compare(const HaldenFirmwareVersion& candidate) const;

    /// The text as it was given.
    const std::string& getVersion() const { return text_; }

private:
    std::string text_;
};

} // namespace version
