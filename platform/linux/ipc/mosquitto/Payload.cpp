// SPDX-License-Identifier: Apache-2.0
#include "Payload.h"

#include "JsonScan.h"

#include <json/reader.h>

#include <memory>
#include <stdexcept>

namespace ipc {

namespace {

constexpr const char* NAME = "name";
constexpr const char* PARAMETERS = "parameters";
constexpr const char* FLAG = "flag";

std::unique_ptr<Json::CharReader> strictReader() {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["skipBom"] = false;
    builder["rejectDupKeys"] = false;
    // A value in the innermost object counts as one level more.
    builder["stackLimit"] = static_cast<Json::UInt>(DEEPEST_NESTING + 1);
    return std::unique_ptr<Json::CharReader>(builder.newCharReader());
}

Json::Value parseObject(std::string_view payload) {
    Json::Value root;
    try {
        if (!strictReader()->parse(payload.data(), payload.data() + payload.size(), &root, nullptr))
            root = Json::Value();
    } catch (const Json::Exception&) {
        root = Json::Value();
    }
    if (!root.isObject())
        throw std::runtime_error("it is not a JSON object");
    return root;
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

void check(std::string_view payload) {
    if (payload.size() > LARGEST_PAYLOAD)
        throw std::runtime_error("it is larger than " + std::to_string(LARGEST_PAYLOAD) + " bytes");
    if (!isUtf8(payload))
        throw std::runtime_error("it is not UTF-8");
    const JsonScan scan = scanJson(payload);
    if (scan.depth > DEEPEST_NESTING)
        throw std::runtime_error("it is nested deeper than " + std::to_string(DEEPEST_NESTING) +
                                 " levels");
    if (!scan.tokensAreValid)
        throw std::runtime_error("it is not a JSON object");
}

} // namespace

IPCMessage decode(std::string_view payload) {
    check(payload);
    const Json::Value object = parseObject(payload);
    return IPCMessage(nameOf(object), parametersOf(object), flagOf(object));
}

} // namespace ipc
