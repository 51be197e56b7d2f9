// SPDX-License-Identifier: Apache-2.0
#include "Payload.h"

#include "json/StrictReader.h"

#include <stdexcept>

namespace ipc {

namespace {

constexpr const char* NAME = "name";
constexpr const char* PARAMETERS = "parameters";
constexpr const char* FLAG = "flag";

Json::Value parseObject(std::string_view payload) {
    if (payload.size() > LARGEST_PAYLOAD)
        throw std::runtime_error("it is larger than " + std::to_string(LARGEST_PAYLOAD) + " bytes");
    constexpr const char* NO_OBJECT = "it is not a JSON object";
    try {
        Json::Value root =
            json::read(payload, {.deepest = DEEPEST_NESTING, .allowsRepeatedKeys = true});
        if (!root.isObject())
            throw std::runtime_error(NO_OBJECT);
        return root;
    } catch (const json::ReadError& error) {
        throw std::runtime_error(error.kind == json::ReadError::Kind::Syntax ? NO_OBJECT
                                                                             : error.why);
    }
}

std::string nameOf(const Json::Value& object) {
    const Json::Value& name = object[NAME];
    if (!name.isString())
        throw std::runtime_error("it has no name");
    return name.asString();
}

IpcMsgParams parametersOf(const Json::Value& object) {
    if (!object.isMember(PARAMETERS))
        return {};
    const Json::Value& parameters = object[PARAMETERS];
    if (!parameters.isObject())
        throw std::runtime_error("its parameters are not an object");
    return IpcMsgParams::fromParameters(parameters);
}

bool flagOf(const Json::Value& object) {
    if (!object.isMember(FLAG))
        return false;
    const Json::Value& flag = object[FLAG];
    if (!flag.isBool())
        throw std::runtime_error("its flag is neither true nor false");
    return flag.asBool();
}

} // namespace

IPCMessage decode(std::string_view payload) {
    const Json::Value object = parseObject(payload);
    return IPCMessage(nameOf(object), parametersOf(object), flagOf(object));
}

} // namespace ipc
