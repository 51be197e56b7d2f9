// SPDX-License-Identifier: Apache-2.0
#include "Examination.h"

#include "app/EmptyPhoneConfig.h"
#include "text/Escape.h"

#include <utility>

namespace ovoctl {

const char* wordFor(ExaminationResult::Level level) {
    switch (level) {
    case ExaminationResult::Level::OK:
        return "ok";
    case ExaminationResult::Level::WARNING:
        return "warning";
    case ExaminationResult::Level::ERROR:
        break;
    }
    return "error";
}

Examination::Examination(std::string address, Sink sink)
    : givenUrl(std::move(address))
    , phoneConfig(std::make_shared<app::EmptyPhoneConfig>())
    , sink_(std::move(sink)) {}

void Examination::fine(const std::string& check, const std::string& what) {
    add({check, ExaminationResult::Level::OK, what, {}});
}

void Examination::warn(const std::string& check, const std::string& what, const std::string& cure) {
    add({check, ExaminationResult::Level::WARNING, what, cure});
}

void Examination::fail(const std::string& check, const std::string& what, const std::string& cure) {
    add({check, ExaminationResult::Level::ERROR, what, cure});
}

void Examination::skip(const std::string& check, const std::string& why) {
    warn(check, "not checked: " + why, "");
}

std::string Examination::property(const std::string& key) const {
    const auto found = properties.find(key);
    return found == properties.end() ? std::string() : found->second;
}

void Examination::add(ExaminationResult result) {
    isFine_ = isFine_ && result.level == ExaminationResult::Level::OK;
    for (std::string* text : {&result.check, &result.what, &result.cure})
        *text = escapeControls(*text);
    sink_(result);
}

} // namespace ovoctl
