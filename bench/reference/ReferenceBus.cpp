// SPDX-License-Identifier: Apache-2.0
#include "ReferenceBus.h"

#include <mosquitto.h>

#include <stdexcept>
#include <utility>

ReferenceBus::ReferenceBus(const std::string& socketPath, Handler handler)
    : handler_(std::move(handler)) {
    mosquitto_lib_init();
    handle_ = mosquitto_new("reference", true, this);
    mosquitto_int_option(handle_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_subscribe_callback_set(handle_, [](mosquitto*, void* self, int, int, const int*) {
        static_cast<ReferenceBus*>(self)->publish("served");
    });
    mosquitto_message_callback_set(
        handle_, [](mosquitto*, void* self, const mosquitto_message* message) {
            auto& bus = *static_cast<ReferenceBus*>(self);
            bus.publish(bus.handler_(std::string(static_cast<const char*>(message->payload),
                                                 static_cast<std::size_t>(message->payloadlen))));
        });
    // Port 0: the host is the path of a socket.
    if (mosquitto_connect(handle_, socketPath.c_str(), 0, 60) != MOSQ_ERR_SUCCESS ||
        mosquitto_subscribe(handle_, nullptr, "bench/reference", 1) != MOSQ_ERR_SUCCESS)
        throw std::runtime_error("cannot reach the broker at " + socketPath);
}

ReferenceBus::~ReferenceBus() {
    mosquitto_destroy(handle_);
    mosquitto_lib_cleanup();
}

void ReferenceBus::serve() {
    while (mosquitto_loop(handle_, -1, 1) == MOSQ_ERR_SUCCESS) {
    }
}

void ReferenceBus::publish(const std::string& payload) {
    mosquitto_publish(handle_, nullptr, "reference/bench", static_cast<int>(payload.size()),
                      payload.data(), 1, false);
}
