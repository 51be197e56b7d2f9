#ifndef PROPERTYAPI_PROPERTYAPIEXCEPTION_H
#define PROPERTYAPI_PROPERTYAPIEXCEPTION_H

#include <stdexcept>

namespace propertyapi {

/// A failed operation of the property store. The text names the operation, the key (or
/// "batch of N properties" and its first key) and the cause; it never holds a value.
class PropertyApiException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace propertyapi

#endif
