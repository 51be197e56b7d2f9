// SPDX-License-Identifier: Apache-2.0
#include "JsonLine.h"

#include <json/writer.h>

namespace ovoctl {

std::string jsonLine(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value) + "\n";
}

} // namespace ovoctl
