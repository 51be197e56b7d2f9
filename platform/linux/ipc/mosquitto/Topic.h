// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace ipc {

/// True for a topic that may be published to.
bool isPublishTopic(const std::string& topic);
/// True for a topic filter that may be subscribed to.
bool isSubscriptionTopic(const std::string& topic);
/// "auto-reboot/prov-client" -> "prov-client/auto-reboot"; none for what is not SENDER/RECEIVER.
std::optional<std::string> mirrored(const std::string& topic);

} // namespace ipc
