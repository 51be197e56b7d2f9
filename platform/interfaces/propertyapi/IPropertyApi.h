// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "propertyapi/ISubscription.h"
#include "propertyapi/Property.h"
#include "propertyapi/PropertyApiException.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace propertyapi {

/// Client of the phone's property store: texts by key, shared by all services of the phone.
///
/// Threads: every operation may be called from every thread, from inside a callback too. Callbacks
/// run one at a time on the client's notification thread, without any lock of the client.
/// Errors: PropertyApiException, from every operation. A busy store is waited for up to 10 s first.
///
/// A change is a write after which the value differs. Each subscriber gets every change of its key
/// made by any process exactly once, in commit order; a client that lags too far gets the
/// current value instead. Subscribing delivers nothing by itself. A callback that throws is logged
/// and counts as delivered.
///
/// Keys that begin with "State." live for one boot of the machine and may be lost in a power cut;
/// a write of any other key is on the disk when the call returns.
class IPropertyApi {
public:
    using Callback = std::function<void(const Property&)>;
    using Batch = std::vector<std::pair<std::string, std::string>>;

    virtual ~IPropertyApi() = default;

    /// True when the key exists, with an empty value too.
    virtual bool exists(const std::string& key) const = 0;
    /// Value of a key; the empty text for a key that does not exist.
    virtual std::string getValue(const std::string& key) const = 0;
    /// Value of a key; the default for a key that does not exist.
    virtual std::string getValue(const std::string& key, const std::string& defaultValue) const = 0;
    /// Calls back for each change of the key for as long as the client exists.
    virtual void subscribe(const std::string& key, Callback callback) const = 0;
    /// Calls back for each change of the key for as long as the returned subscription is held.
    [[nodiscard]] virtual std::unique_ptr<ISubscription>
    subscribeScoped(const std::string& key, Callback callback) const = 0;
    /// Writes one value; true when it differs from the one before. Writing the value that a key
    /// already has changes nothing, its origin included.
    virtual bool setValue(const std::string& key, const std::string& value) const = 0;
    /// Removes a key, which is a change to the empty text; true when it existed.
    virtual bool removeValue(const std::string& key) const = 0;
    /// Writes a batch in one transaction, in order, with a text that names their origin:
    /// another process sees all of it or none. Returns the number of values that changed. On
    /// failure nothing is written.
    virtual unsigned int setValues(const Batch& batch, const std::string& origin) const = 0;
};

} // namespace propertyapi
