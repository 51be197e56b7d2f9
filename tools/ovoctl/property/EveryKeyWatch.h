// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "propertyapi/Property.h"
#include "propertyapi/sqlite/CommitWatch.h"

#include <atomic>
#include <functional>
#include <map>
#include <string>
#include <thread>

namespace ovoctl {

/// Watches every key of the property store without a trace in it, on a thread of its own. Of values
/// that follow each other quickly only the last one is told, the empty text for a key that went.
class EveryKeyWatch {
public:
    /// changed: called on the thread. Throws when the store cannot be read now; later failures go
    /// to the standard error, once for each.
    explicit EveryKeyWatch(std::function<void(const propertyapi::Property&)> changed);
    /// Waits for a call that is running.
    ~EveryKeyWatch();
    EveryKeyWatch(const EveryKeyWatch&) = delete;
    EveryKeyWatch& operator=(const EveryKeyWatch&) = delete;

private:
    using Values = std::map<std::string, std::string>;

    void run();
    void look();
    static Values read();

    const std::function<void(const propertyapi::Property&)> changed_;
    propertyapi::CommitWatch watch_;
    Values values_;
    std::string failure_; ///< told last
    std::atomic<bool> isEnding_ = false;
    std::thread thread_;
};

} // namespace ovoctl
