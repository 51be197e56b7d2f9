// SPDX-License-Identifier: Apache-2.0
#include "StepsBus.h"

#include "Require.h"

#include <mosquitto.h>

#include <utility>

StepsBus::StepsBus(const std::string& socketPath, Handler handler) : handler_(std::move(handler)) {
    mosquitto_lib_init();
    handle_ = mosquitto_new("steps", true, this);
    mosquitto_int_option(handle_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_subscribe_callback_set(handle_, [](mosquitto*, void* self, int, int, const int*) {
        static_cast<StepsBus*>(self)->publish("served");
    });
    mosquitto_message_callback_set(
        handle_, [](mosquitto*, void* self, const mosquitto_message* message) {
            static_cast<StepsBus*>(self)->handler_(
                std::string(static_cast<const char*>(message->payload),
                            static_cast<std::size_t>(message->payloadlen)));
        });
    // Port 0: the host is the path of a socket.
    require(mosquitto_connect(handle_, socketPath.c_str(), 0, 60) == MOSQ_ERR_SUCCESS &&
                mosquitto_subscribe(handle_, nullptr, "bench/steps", 1) == MOSQ_ERR_SUCCESS &&
                mosquitto_loop_start(handle_) == MOSQ_ERR_SUCCESS,
            "the broker cannot be reached");
}

StepsBus::~StepsBus() {
    mosquitto_disconnect(handle_);
    mosquitto_loop_stop(handle_, false);
    mosquitto_destroy(handle_);
    mosquitto_lib_cleanup();
}

void StepsBus::publish(const std::string& payload) {
    mosquitto_publish(handle_, nullptr, "steps/bench", static_cast<int>(payload.size()),
                      payload.data(), 1, false);
}
