// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "UnitFile.h"

#include <sys/types.h>

#include <string>

namespace sandbox {

/// The user and group that the unit names. As root on the phone itself the process takes them;
/// below a root of its own, whose files belong to the caller, the caller gets their numbers in a
/// user name space.
class Identity {
public:
    /// Without users of these names, and where they need not exist, the numbers of a system's user.
    Identity(const UnitFile& unit, bool mustExist);

    uid_t user() const { return user_; }
    gid_t group() const { return group_; }
    const std::string& home() const { return home_; }
    /// The caller is seen as the user from now on, with every capability over what is made next.
    void mapCaller() const;
    /// Root takes the user's numbers; with PrivateUsers= no others are known.
    void take(bool hasPrivateUsers) const;
    /// Gives up every capability for good.
    static void dropCapabilities();

private:
    std::string home_;
    uid_t user_ = 990;
    gid_t group_ = 990;
};

} // namespace sandbox
