// SPDX-License-Identifier: Apache-2.0
#include "Topic.h"

#include <mosquitto.h>

namespace ipc {

namespace {

/// The library takes topics as C strings, so that one with a NUL would become another one.
bool isText(const std::string& topic) {
    return topic.find('\0') == std::string::npos &&
           mosquitto_validate_utf8(topic.data(), static_cast<int>(topic.size())) ==
               MOSQ_ERR_SUCCESS;
}

} // namespace

bool isPublishTopic(const std::string& topic) {
    return !topic.empty() && isText(topic) &&
           mosquitto_pub_topic_check2(topic.data(), topic.size()) == MOSQ_ERR_SUCCESS;
}

bool isSubscriptionTopic(const std::string& topic) {
    return !topic.empty() && isText(topic) &&
           mosquitto_sub_topic_check2(topic.data(), topic.size()) == MOSQ_ERR_SUCCESS;
}

std::optional<std::string> mirrored(const std::string& topic) {
    const auto slash = topic.find('/');
    if (slash == std::string::npos || topic.find('/', slash + 1) != std::string::npos)
        return std::nullopt;
    return topic.substr(slash + 1) + "/" + topic.substr(0, slash);
}

} // namespace ipc
