// SPDX-License-Identifier: Apache-2.0
#include "ipc/IpcMsgParams.h"

#include <stdexcept>

namespace ipc {

namespace {

constexpr const char* PARAMETERS = "parameters";

[[noreturn]] void throwWrongParameter(const std::string& name) {
    throw std::runtime_error("wrong parameter requested [" + name + "]");
}

} // namespace

IpcMsgParams::IpcMsgParams() : value_(Json::objectValue) {
    value_[PARAMETERS] = Json::Value(Json::objectValue);
}

IpcMsgParams IpcMsgParams::fromParameters(const Json::Value& parameters) {
    IpcMsgParams params;
    if (parameters.isObject())
        params.value_[PARAMETERS] = parameters;
    return params;
}

void IpcMsgParams::add(const std::string& name, bool value) {
    add(name, Json::Value(value));
}

void IpcMsgParams::add(const std::string& name, const std::string& value) {
    add(name, Json::Value(value));
}

void IpcMsgParams::add(const std::string& name, const char* value) {
    add(name, Json::Value(value));
}

void IpcMsgParams::add(const std::string& name, const Json::Value& value) {
    value_[PARAMETERS][name] = value;
}

template <>
std::string IpcMsgParams::get<std::string>(const std::string& name) const {
    const Json::Value& value = parameters()[name];
    if (!value.isString())
        throwWrongParameter(name);
    return value.asString();
}

template <>
bool IpcMsgParams::get<bool>(const std::string& name) const {
    const Json::Value& value = parameters()[name];
    if (!value.isBool())
        throwWrongParameter(name);
    return value.asBool();
}

bool IpcMsgParams::empty() const {
    return parameters().empty();
}

const Json::Value& IpcMsgParams::parameters() const {
    return value_[PARAMETERS];
}

} // namespace ipc
