// SPDX-License-Identifier: Apache-2.0
#include "JsonLine.h"

#include <json/writer.h>

namespace ovoctl {

std::string jsonText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    builder["precision"] = 15; // 0.003 as it was written
    return Json::writeString(builder, value);
}

std::string jsonLine(const Json::Value& value) {
    return jsonText(value) + "\n";
}

} // namespace ovoctl
