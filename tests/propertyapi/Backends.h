#ifndef BACKENDS_H
#define BACKENDS_H

#include "propertyapi/IPropertyApi.h"

#include <functional>
#include <memory>
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

BackendKind inMemory();
BackendKind inDatabase();

#endif
