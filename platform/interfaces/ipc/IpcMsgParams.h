// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <string>

namespace ipc {

/// Parameters of a bus message: a JSON object whose member "parameters" maps each parameter's name
/// to its value. A value type; not synchronised.
class IpcMsgParams {
public:
    IpcMsgParams();

    /// Takes over the object of parameters ({NAME: VALUE, …}) of a received message; anything but
    /// an object counts as one without members.
    static IpcMsgParams fromParameters(const Json::Value& parameters);

    /// Sets a parameter; one of that name is replaced.
    void add(const std::string& name, bool value);
    void add(const std::string& name, const std::string& value);
    void add(const std::string& name, const char* value);
    void add(const std::string& name, const Json::Value& value);

    /// Reads a parameter as std::string or bool. One that is missing, null or of another type
    /// throws std::runtime_error "wrong parameter requested [NAME]".
    template <typename T>
    T get(const std::string& name) const;

    /// True when there is no parameter.
    bool empty() const;
    /// The object {NAME: VALUE, …}.
    const Json::Value& parameters() const;

    bool operator==(const IpcMsgParams& other) const { return value_ == other.value_; }

private:
    Json::Value value_;
};

template <>
std::string IpcMsgParams::get<std::string>(const std::string& name) const;
template <>
bool IpcMsgParams::get<bool>(const std::string& name) const;

} // namespace ipc
