// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// NOLINTNEXTLINE(bugprone-reserved-identifier): the library names it so
struct mqtt5__property;

namespace ipc {

/// A list of MQTT properties to send. Its operations throw std::runtime_error with the reason.
class MqttProperties {
public:
    MqttProperties() = default;
    ~MqttProperties();
    MqttProperties(const MqttProperties&) = delete;
    MqttProperties& operator=(const MqttProperties&) = delete;

    void addNumber(int identifier, std::uint32_t value);
    void addBinary(int identifier, const std::string& value);

    const mqtt5__property* get() const { return list_; }

private:
    mqtt5__property* list_ = nullptr;
};

/// A property of a received list; none where it is not in it.
std::optional<std::string> textProperty(const mqtt5__property* properties, int identifier);
std::optional<std::string> binaryProperty(const mqtt5__property* properties, int identifier);

} // namespace ipc
