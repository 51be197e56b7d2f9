// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "propertyapi/IPropertyApi.h"

#include <functional>
#include <memory>
#include <ostream>
#include <string>

/// A property store of its own with one client.
class Backend {
public:
    virtual ~Backend() = default;
    virtual const propertyapi::IPropertyApi& api() const = 0;
    /// Ends the client.
    virtual void end() = 0;
};

struct BackendKind {
    std::string name;
    std::function<std::unique_ptr<Backend>()> make;
};

/// Names the kind in the output of a test.
std::ostream& operator<<(std::ostream& stream, const BackendKind& kind);

BackendKind inMemory();
BackendKind inDatabase();
