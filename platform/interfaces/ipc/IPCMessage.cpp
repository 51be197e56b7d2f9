// SPDX-License-Identifier: Apache-2.0
#include "ipc/IPCMessage.h"

#include <json/writer.h>

namespace ipc {

std::string encode(const IPCMessage& message) {
    Json::Value object(Json::objectValue);
    object["name"] = message.name;
    object["parameters"] = message.params.parameters();
    object["flag"] = message.flag;
    static const Json::StreamWriterBuilder writer = [] {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        return builder;
    }();
    return Json::writeString(writer, object);
}

} // namespace ipc
