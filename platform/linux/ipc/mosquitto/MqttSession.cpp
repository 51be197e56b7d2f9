// SPDX-License-Identifier: Apache-2.0
#include "MqttSession.h"

#include "MqttProperties.h"
#include "ipc/IPCMessage.h"

#include <fcntl.h>
#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace ipc {

namespace {

constexpr int QOS = 1;
/// A port that no connection has.
constexpr int NO_PORT = -1;
/// Reason codes of the protocol from here on are failures.
constexpr int FIRST_FAILURE_REASON = 0x80;

/// True for the results of a message that can never be sent, whatever the connection.
bool isRefusal(int result) {
    constexpr std::array REFUSALS{MOSQ_ERR_INVAL,          MOSQ_ERR_PAYLOAD_SIZE,
                                  MOSQ_ERR_MALFORMED_UTF8, MOSQ_ERR_DUPLICATE_PROPERTY,
                                  MOSQ_ERR_PROTOCOL,       MOSQ_ERR_QOS_NOT_SUPPORTED,
                                  MOSQ_ERR_OVERSIZE_PACKET};
    return std::find(REFUSALS.begin(), REFUSALS.end(), result) != REFUSALS.end();
}

/// Sets up the library's process-wide state before its first use.
void prepareLibrary() {
    struct Library {
        Library() { mosquitto_lib_init(); }
        ~Library() { mosquitto_lib_cleanup(); }
        Library(const Library&) = delete;
        Library& operator=(const Library&) = delete;
    };
    static const Library library;
}

std::string reasonText(int reason) {
    if (reason == MOSQ_ERR_ERRNO)
        return std::generic_category().message(errno);
    return reason >= FIRST_FAILURE_REASON ? mosquitto_reason_string(reason)
                                          : mosquitto_strerror(reason);
}

MqttSession::Failure failureOf(int result) {
    return result == MOSQ_ERR_SUCCESS ? std::string() : reasonText(result);
}

MqttSession::Events& eventsOf(void* object) {
    return *static_cast<MqttSession::Events*>(object);
}

void onConnect(mosquitto*, void* events, int reason, int, const mosquitto_property*) noexcept {
    if (reason == 0)
        eventsOf(events).accepted();
    else
        eventsOf(events).lost(std::string("refused: ") + mosquitto_reason_string(reason));
}

void onDisconnect(mosquitto*, void* events, int reason, const mosquitto_property*) noexcept {
    eventsOf(events).lost(reasonText(reason));
}

void onSubscribe(mosquitto*, void* events, int, int count, const int* reasons,
                 const mosquitto_property*) noexcept {
    std::vector<bool> granted;
    granted.reserve(static_cast<std::size_t>(count));
    for (int index = 0; index < count; ++index)
        granted.push_back(reasons[index] < FIRST_FAILURE_REASON);
    eventsOf(events).subscribed(granted);
}

void onPublish(mosquitto*, void* events, int id, int reason, const mosquitto_property*) noexcept {
    eventsOf(events).acknowledged(
        id, reason >= FIRST_FAILURE_REASON ? mosquitto_reason_string(reason) : nullptr);
}

void onMessage(mosquitto*, void* events, const mosquitto_message* message,
               const mosquitto_property* properties) noexcept {
    const auto size = static_cast<std::size_t>(message->payloadlen);
    const char* payload = static_cast<const char*>(message->payload);
    if (size > LARGEST_PAYLOAD)
        eventsOf(events).receivedTooLarge(message->topic, size);
    else
        eventsOf(events).received({message->topic,
                                   payload == nullptr ? std::string() : std::string(payload, size),
                                   textProperty(properties, MQTT_PROP_RESPONSE_TOPIC),
                                   binaryProperty(properties, MQTT_PROP_CORRELATION_DATA)});
}

int connect(mosquitto* handle, const BusAddress& address, int keepalive) {
    MqttProperties properties;
    properties.addNumber(MQTT_PROP_MAXIMUM_PACKET_SIZE, LARGEST_PACKET);
    const auto connectAtOnce = [&](int port) {
        return mosquitto_connect_bind_v5(handle, address.host.c_str(), port, keepalive, nullptr,
                                         properties.get());
    };
    if (address.isUnix())
        return connectAtOnce(0);
    // Connecting to a TCP host may block for minutes, except in the call that takes no properties.
    // The library keeps the properties of a handle for all later attempts: a first call, which the
    // library refuses because of its port, hands them over.
    if (const int result = connectAtOnce(NO_PORT); result != MOSQ_ERR_INVAL)
        return result;
    return mosquitto_connect_async(handle, address.host.c_str(), address.port, keepalive);
}

} // namespace

void MqttSession::Destroy::operator()(mosquitto* handle) const {
    mosquitto_destroy(handle);
}

MqttSession::MqttSession(const BusAddress& address, const std::string& clientId,
                         std::chrono::seconds keepalive, Events& events) {
    prepareLibrary();
    handle_.reset(mosquitto_new(clientId.c_str(), true, &events));
    if (!handle_)
        throw std::runtime_error(reasonText(MOSQ_ERR_ERRNO));
    mosquitto* handle = handle_.get();
    mosquitto_int_option(handle, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_connect_v5_callback_set(handle, onConnect);
    mosquitto_disconnect_v5_callback_set(handle, onDisconnect);
    mosquitto_subscribe_v5_callback_set(handle, onSubscribe);
    mosquitto_publish_v5_callback_set(handle, onPublish);
    mosquitto_message_v5_callback_set(handle, onMessage);
    const int result = connect(handle, address, static_cast<int>(keepalive.count()));
    if (result != MOSQ_ERR_SUCCESS)
        throw std::runtime_error(reasonText(result));
    // Programs that the process runs would inherit the socket.
    ::fcntl(socket(), F_SETFD, FD_CLOEXEC);
}

int MqttSession::socket() const {
    return mosquitto_socket(handle_.get());
}

bool MqttSession::wantsToWrite() const {
    return mosquitto_want_write(handle_.get());
}

MqttSession::Failure MqttSession::read() {
    return failureOf(mosquitto_loop_read(handle_.get(), 1));
}

MqttSession::Failure MqttSession::write() {
    return failureOf(mosquitto_loop_write(handle_.get(), 1));
}

MqttSession::Failure MqttSession::keepAlive() {
    return failureOf(mosquitto_loop_misc(handle_.get()));
}

MqttSession::Failure MqttSession::subscribe(std::vector<std::string> topics) {
    constexpr int OPTIONS = MQTT_SUB_OPT_NO_LOCAL | MQTT_SUB_OPT_SEND_RETAIN_NEVER;
    std::vector<char*> filters;
    filters.reserve(topics.size());
    for (std::string& topic : topics)
        filters.push_back(topic.data());
    return failureOf(mosquitto_subscribe_multiple(handle_.get(), nullptr,
                                                  static_cast<int>(filters.size()), filters.data(),
                                                  QOS, OPTIONS, nullptr));
}

MqttSession::Published MqttSession::publish(const OutgoingMessage& message) {
    MqttProperties properties;
    if (message.correlationData)
        properties.addBinary(MQTT_PROP_CORRELATION_DATA, *message.correlationData);
    int id = 0;
    const int result = mosquitto_publish_v5(handle_.get(), &id, message.topic.c_str(),
                                            static_cast<int>(message.payload.size()),
                                            message.payload.data(), QOS, false, properties.get());
    return {id, failureOf(result), isRefusal(result)};
}

void MqttSession::close() {
    mosquitto_disconnect_v5(handle_.get(), MQTT_RC_NORMAL_DISCONNECTION, nullptr);
}

} // namespace ipc
