// SPDX-License-Identifier: Apache-2.0
#include "MqttProperties.h"

#include <mosquitto.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace ipc {

namespace {

void check(int result) {
    if (result != MOSQ_ERR_SUCCESS)
        throw std::runtime_error(mosquitto_strerror(result));
}

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

} // namespace

MqttProperties::~MqttProperties() {
    mosquitto_property_free_all(&list_);
}

void MqttProperties::addNumber(int identifier, std::uint32_t value) {
    check(mosquitto_property_add_int32(&list_, identifier, value));
}

void MqttProperties::addBinary(int identifier, const std::string& value) {
    if (value.size() > UINT16_MAX)
        throw std::runtime_error("a property is too long");
    check(mosquitto_property_add_binary(&list_, identifier, value.data(),
                                        static_cast<std::uint16_t>(value.size())));
}

std::optional<std::string> textProperty(const mosquitto_property* properties, int identifier) {
    char* text = nullptr;
    if (mosquitto_property_read_string(properties, identifier, &text, false) == nullptr)
        return std::nullopt;
    const std::unique_ptr<char, Free> owner(text);
    return std::string(text == nullptr ? "" : text);
}

std::optional<std::string> binaryProperty(const mosquitto_property* properties, int identifier) {
    void* data = nullptr;
    std::uint16_t size = 0;
    if (mosquitto_property_read_binary(properties, identifier, &data, &size, false) == nullptr)
        return std::nullopt;
    const std::unique_ptr<void, Free> owner(data);
    return data == nullptr ? std::string() : std::string(static_cast<const char*>(data), size);
}

} // namespace ipc
