// SPDX-License-Identifier: Apache-2.0
#include "MqttConnection.h"

#include "ForeignText.h"
#include "Payload.h"
#include "logger/Logger.h"

#include <fcntl.h>
#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace ipc {

namespace {

constexpr int QOS = 1;
/// Messages sent without waiting for an acknowledgement: enough to keep a local broker busy,
/// few to send again when it goes away.
constexpr std::size_t UNACKNOWLEDGED_LIMIT = 16;
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

/// The library's process-wide state, set up before its first use.
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

class Properties {
public:
    Properties() = default;
    ~Properties() { mosquitto_property_free_all(&list_); }
    Properties(const Properties&) = delete;
    Properties& operator=(const Properties&) = delete;

    void addNumber(int identifier, std::uint32_t value) {
        check(mosquitto_property_add_int32(&list_, identifier, value));
    }
    void addBinary(int identifier, const std::string& value) {
        if (value.size() > UINT16_MAX)
            throw std::runtime_error("a property is too long");
        check(mosquitto_property_add_binary(&list_, identifier, value.data(),
                                            static_cast<std::uint16_t>(value.size())));
    }
    const mosquitto_property* get() const { return list_; }

private:
    static void check(int result) {
        if (result != MOSQ_ERR_SUCCESS)
            throw std::runtime_error(mosquitto_strerror(result));
    }

    mosquitto_property* list_ = nullptr;
};

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

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

int connect(mosquitto* handle, const BusAddress& address, int keepalive) {
    Properties properties;
    properties.addNumber(MQTT_PROP_MAXIMUM_PACKET_SIZE, LARGEST_PACKET);
    const auto connectAtOnce = [&](int port) {
        return mosquitto_connect_bind_v5(handle, address.host.c_str(), port, keepalive, nullptr,
                                         properties.get());
    };
    if (address.isUnix())
        return connectAtOnce(0);
    // A TCP host may keep its caller waiting for minutes, which only the call without properties
    // does not do. The library keeps properties for every later attempt of the handle: so they are
    // given in a call that it then refuses for the port.
    if (const int result = connectAtOnce(NO_PORT); result != MOSQ_ERR_INVAL)
        return result;
    return mosquitto_connect_async(handle, address.host.c_str(), address.port, keepalive);
}

} // namespace

/// Called by the library while it reads, under a lock of its own: they only note what came.
struct MqttCallbacks {
    static void accepted(mosquitto*, void* self, int reason, int,
                         const mosquitto_property*) noexcept {
        auto& connection = *static_cast<MqttConnection*>(self);
        connection.isAccepted_ = reason == 0;
        if (reason != 0)
            connection.lossReason_ = std::string("refused: ") + mosquitto_reason_string(reason);
    }

    static void disconnected(mosquitto*, void* self, int reason,
                             const mosquitto_property*) noexcept {
        auto& connection = *static_cast<MqttConnection*>(self);
        if (connection.lossReason_.empty())
            connection.lossReason_ = reasonText(reason);
    }

    static void subscribed(mosquitto*, void* self, int, int count, const int* reasons,
                           const mosquitto_property*) noexcept {
        auto& connection = *static_cast<MqttConnection*>(self);
        connection.isReady_ = true;
        for (std::size_t index = 0; index < connection.topics_.size(); ++index) {
            if (index < static_cast<std::size_t>(count) && reasons[index] < FIRST_FAILURE_REASON)
                continue;
            connection.notes_.push_back({3, "Broker refused the subscription to " +
                                                foreignText(connection.topics_[index])});
        }
    }

    static void acknowledged(mosquitto*, void* self, int id, int reason,
                             const mosquitto_property*) noexcept {
        static_cast<MqttConnection*>(self)->acknowledge(id, reason);
    }

    static void received(mosquitto*, void* self, const mosquitto_message* message,
                         const mosquitto_property* properties) noexcept {
        auto& connection = *static_cast<MqttConnection*>(self);
        const auto size = static_cast<std::size_t>(message->payloadlen);
        const std::string topic = message->topic;
        if (size > LARGEST_PAYLOAD) {
            connection.notes_.push_back({2, "Bus message on " + foreignText(topic) +
                                                " dropped: it has " + std::to_string(size) +
                                                " bytes, more than " +
                                                std::to_string(LARGEST_PAYLOAD)});
            return;
        }
        const char* payload = static_cast<const char*>(message->payload);
        connection.received_.push_back(
            {topic, payload == nullptr ? std::string() : std::string(payload, size),
             textProperty(properties, MQTT_PROP_RESPONSE_TOPIC),
             binaryProperty(properties, MQTT_PROP_CORRELATION_DATA)});
    }
};

void MqttConnection::Deleter::operator()(mosquitto* handle) const {
    mosquitto_destroy(handle);
}

MqttConnection::MqttConnection(const BusAddress& address, const std::string& clientId,
                               std::vector<std::string> topics, std::chrono::seconds keepalive)
    : keepalive_(keepalive), topics_(std::move(topics)) {
    prepareLibrary();
    handle_.reset(mosquitto_new(clientId.c_str(), true, this));
    if (!handle_)
        throw std::runtime_error(reasonText(MOSQ_ERR_ERRNO));
    mosquitto* handle = handle_.get();
    mosquitto_int_option(handle, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_connect_v5_callback_set(handle, MqttCallbacks::accepted);
    mosquitto_disconnect_v5_callback_set(handle, MqttCallbacks::disconnected);
    mosquitto_subscribe_v5_callback_set(handle, MqttCallbacks::subscribed);
    mosquitto_publish_v5_callback_set(handle, MqttCallbacks::acknowledged);
    mosquitto_message_v5_callback_set(handle, MqttCallbacks::received);
    const int result = connect(handle, address, static_cast<int>(keepalive.count()));
    if (result != MOSQ_ERR_SUCCESS)
        throw std::runtime_error(reasonText(result));
    // The socket would stay open in every program that the process runs.
    ::fcntl(socket(), F_SETFD, FD_CLOEXEC);
}

MqttConnection::~MqttConnection() = default;

int MqttConnection::socket() const {
    return mosquitto_socket(handle_.get());
}

bool MqttConnection::wantsToWrite() const {
    return mosquitto_want_write(handle_.get());
}

void MqttConnection::handleEvents(bool isReadable, bool isWritable) {
    if (isReadable)
        checkResult(mosquitto_loop_read(handle_.get(), 1));
    if (isWritable && !isLost())
        checkResult(mosquitto_loop_write(handle_.get(), 1));
    if (!isLost())
        checkResult(mosquitto_loop_misc(handle_.get()));
    if (isAccepted_ && !isSubscribing_ && !isLost())
        subscribe();
    for (const Note& note : std::exchange(notes_, {})) {
        LOG(note.level) << note.text;
    }
}

/// The broker gives a silent client up after one and a half times the keepalive; the library
/// sends its ping when it is called after one.
std::chrono::milliseconds MqttConnection::longestWait() const {
    return std::chrono::milliseconds(keepalive_) / 3;
}

void MqttConnection::checkResult(int result) {
    if (result != MOSQ_ERR_SUCCESS && isLost() && lossReason_.empty())
        lossReason_ = reasonText(result);
}

void MqttConnection::subscribe() {
    isSubscribing_ = true;
    if (topics_.empty()) {
        isReady_ = true;
        return;
    }
    std::vector<char*> filters;
    filters.reserve(topics_.size());
    for (std::string& topic : topics_)
        filters.push_back(topic.data());
    // Own messages and retained ones are never requests to this client.
    constexpr int OPTIONS = MQTT_SUB_OPT_NO_LOCAL | MQTT_SUB_OPT_SEND_RETAIN_NEVER;
    checkResult(mosquitto_subscribe_multiple(handle_.get(), nullptr,
                                             static_cast<int>(filters.size()), filters.data(), QOS,
                                             OPTIONS, nullptr));
}

bool MqttConnection::hasRoom() const {
    return !isLost() && unacknowledged_.size() < UNACKNOWLEDGED_LIMIT;
}

void MqttConnection::publish(OutgoingMessage message) {
    int id = 0;
    int result = MOSQ_ERR_SUCCESS;
    {
        Properties properties;
        if (message.correlationData)
            properties.addBinary(MQTT_PROP_CORRELATION_DATA, *message.correlationData);
        result = mosquitto_publish_v5(handle_.get(), &id, message.topic.c_str(),
                                      static_cast<int>(message.payload.size()),
                                      message.payload.data(), QOS, false, properties.get());
    }
    checkResult(result);
    if (isRefusal(result)) {
        LOG(2) << "Bus message " << foreignText(message.name) << " to "
               << foreignText(message.topic) << " dropped: " << reasonText(result);
        return;
    }
    // A write that failed is a connection that goes, which the next read will tell.
    unacknowledged_.emplace_back(id, std::move(message));
}

void MqttConnection::acknowledge(int id, int reason) {
    const auto entry = std::find_if(unacknowledged_.begin(), unacknowledged_.end(),
                                    [id](const auto& candidate) { return candidate.first == id; });
    if (entry == unacknowledged_.end())
        return;
    if (reason >= FIRST_FAILURE_REASON) {
        notes_.push_back({2, "Bus message " + foreignText(entry->second.name) + " to " +
                                 foreignText(entry->second.topic) +
                                 " refused by the broker: " + mosquitto_reason_string(reason)});
    }
    unacknowledged_.erase(entry);
}

std::vector<OutgoingMessage> MqttConnection::takeUnacknowledged() {
    std::vector<OutgoingMessage> messages;
    messages.reserve(unacknowledged_.size());
    for (auto& [id, message] : unacknowledged_)
        messages.push_back(std::move(message));
    unacknowledged_.clear();
    return messages;
}

std::vector<IncomingMessage> MqttConnection::takeReceived() {
    return std::exchange(received_, {});
}

void MqttConnection::disconnect() {
    mosquitto_disconnect_v5(handle_.get(), MQTT_RC_NORMAL_DISCONNECTION, nullptr);
}

} // namespace ipc
