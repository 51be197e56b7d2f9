// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace propertyapi {

/// A subscription that its owner holds. Destroying it ends the subscription: afterwards its
/// callback does not run and is not running, except when it is destroyed inside that very callback.
class ISubscription {
public:
    virtual ~ISubscription() = default;
};

} // namespace propertyapi
