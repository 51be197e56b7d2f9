// SPDX-License-Identifier: Apache-2.0
#include "ForeignText.h"

#include <json/writer.h>

namespace ipc {

namespace {

constexpr std::size_t LONGEST = 200;

} // namespace

std::string foreignText(const std::string& text) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    const bool isCut = text.size() > LONGEST;
    return Json::writeString(writer, isCut ? text.substr(0, LONGEST) : text) + (isCut ? "..." : "");
}

} // namespace ipc
