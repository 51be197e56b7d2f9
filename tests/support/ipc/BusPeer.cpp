// SPDX-License-Identifier: Apache-2.0
#include "BusPeer.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>

namespace {

constexpr auto TIMEOUT = std::chrono::seconds(20);
constexpr auto RECONNECT_DELAY = std::chrono::milliseconds(20);
constexpr int KEEPALIVE = 60;

void require(int result, const char* what) {
    if (result != MOSQ_ERR_SUCCESS)
        throw std::runtime_error(std::string("bus peer: ") + what + ": " +
                                 mosquitto_strerror(result));
}

std::optional<std::string> text(const mosquitto_property* properties, int identifier) {
    char* value = nullptr;
    if (mosquitto_property_read_string(properties, identifier, &value, false) == nullptr)
        return std::nullopt;
    std::string result(value);
    std::free(value);
    return result;
}

std::optional<std::string> binary(const mosquitto_property* properties, int identifier) {
    void* value = nullptr;
    std::uint16_t size = 0;
    if (mosquitto_property_read_binary(properties, identifier, &value, &size, false) == nullptr)
        return std::nullopt;
    std::string result(static_cast<const char*>(value), size);
    std::free(value);
    return result;
}

struct Properties {
    mosquitto_property* list = nullptr;
    ~Properties() { mosquitto_property_free_all(&list); }
};

std::string uniqueName() {
    static std::atomic<unsigned> count{0};
    return "peer-" + std::to_string(::getpid()) + "-" + std::to_string(++count);
}

} // namespace

/// The library in its threaded mode, with a thread here that runs its loop.
class BusPeer::Connection {
public:
    Connection(const std::string& address, const Options& options)
        : options_(options), name_(uniqueName()) {
        mosquitto_lib_init();
        handle_ = mosquitto_new(name_.c_str(), !options.keepsSession, this);
        mosquitto_int_option(handle_, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
        mosquitto_threaded_set(handle_, true);
        mosquitto_connect_v5_callback_set(handle_, onConnect);
        mosquitto_subscribe_v5_callback_set(handle_, onSubscribe);
        mosquitto_publish_v5_callback_set(handle_, onPublish);
        mosquitto_message_v5_callback_set(handle_, onMessage);
        try {
            connect(address);
            thread_ = std::thread([this] { run(); });
        } catch (...) {
            mosquitto_destroy(handle_);
            throw;
        }
    }

    ~Connection() {
        isEnding_ = true;
        mosquitto_disconnect_v5(handle_, 0, nullptr);
        thread_.join();
        mosquitto_destroy(handle_);
    }

    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void awaitSubscription() {
        std::unique_lock lock(mutex);
        if (!changed.wait_for(lock, TIMEOUT, [this] { return isSubscribed_; }))
            throw std::runtime_error("bus peer: no subscription");
    }

    void publish(const Message& message) {
        Properties properties;
        if (message.responseTopic)
            require(mosquitto_property_add_string(&properties.list, MQTT_PROP_RESPONSE_TOPIC,
                                                  message.responseTopic->c_str()),
                    "response topic");
        if (message.correlationData)
            require(mosquitto_property_add_binary(
                        &properties.list, MQTT_PROP_CORRELATION_DATA,
                        message.correlationData->data(),
                        static_cast<std::uint16_t>(message.correlationData->size())),
                    "correlation data");
        int id = 0;
        require(mosquitto_publish_v5(
                    handle_, &id, message.topic.c_str(), static_cast<int>(message.payload.size()),
                    message.payload.data(), message.qos, message.retain, properties.list),
                "publish");
        std::unique_lock lock(mutex);
        if (!changed.wait_for(lock, TIMEOUT, [&] { return published_.erase(id) > 0; }))
            throw std::runtime_error("bus peer: message on " + message.topic + " not taken");
    }

    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::vector<Message> recorded;

private:
    void connect(const std::string& address) {
        const std::string rest = address.substr(address.find(':') + 1);
        const bool isUnix = address.starts_with("unix:");
        const auto colon = rest.rfind(':');
        const std::string host = isUnix ? rest : rest.substr(0, colon);
        const int port = isUnix ? 0 : std::stoi(rest.substr(colon + 1));
        Properties properties;
        if (options_.keepsSession)
            require(mosquitto_property_add_int32(&properties.list,
                                                 MQTT_PROP_SESSION_EXPIRY_INTERVAL, UINT32_MAX),
                    "session");
        require(mosquitto_connect_bind_v5(handle_, host.c_str(), port, KEEPALIVE, nullptr,
                                          properties.list),
                address.c_str());
    }

    void run() {
        // The library's writes raise SIGPIPE once the broker is gone.
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
        while (!isEnding_) {
            if (mosquitto_loop(handle_, 1000, 1) == MOSQ_ERR_SUCCESS)
                continue;
            while (!isEnding_ && mosquitto_reconnect(handle_) != MOSQ_ERR_SUCCESS)
                ::poll(nullptr, 0, static_cast<int>(RECONNECT_DELAY.count()));
        }
    }

    static Connection& self(void* object) { return *static_cast<Connection*>(object); }

    static void onConnect(mosquitto* handle, void* object, int reason, int,
                          const mosquitto_property*) {
        if (reason == 0)
            mosquitto_subscribe_v5(handle, nullptr, self(object).options_.filter.c_str(), 1,
                                   MQTT_SUB_OPT_NO_LOCAL | MQTT_SUB_OPT_RETAIN_AS_PUBLISHED,
                                   nullptr);
    }

    static void onSubscribe(mosquitto*, void* object, int, int, const int*,
                            const mosquitto_property*) {
        {
            const std::lock_guard lock(self(object).mutex);
            self(object).isSubscribed_ = true;
        }
        self(object).changed.notify_all();
    }

    static void onPublish(mosquitto*, void* object, int id, int, const mosquitto_property*) {
        {
            const std::lock_guard lock(self(object).mutex);
            self(object).published_.insert(id);
        }
        self(object).changed.notify_all();
    }

    static void onMessage(mosquitto*, void* object, const mosquitto_message* message,
                          const mosquitto_property* properties) {
        const char* payload = static_cast<const char*>(message->payload);
        Message record{message->topic,
                       payload == nullptr
                           ? std::string()
                           : std::string(payload, static_cast<std::size_t>(message->payloadlen)),
                       text(properties, MQTT_PROP_RESPONSE_TOPIC),
                       binary(properties, MQTT_PROP_CORRELATION_DATA),
                       message->qos,
                       message->retain};
        {
            const std::lock_guard lock(self(object).mutex);
            self(object).recorded.push_back(std::move(record));
        }
        self(object).changed.notify_all();
    }

    const Options options_;
    const std::string name_;
    mosquitto* handle_ = nullptr;
    std::atomic<bool> isEnding_{false};
    bool isSubscribed_ = false;
    std::set<int> published_;
    std::thread thread_;
};

BusPeer::BusPeer(const std::string& address) : BusPeer(address, Options()) {}

BusPeer::BusPeer(const std::string& address, const Options& options)
    : connection_(std::make_unique<Connection>(address, options)) {
    connection_->awaitSubscription();
}

BusPeer::~BusPeer() = default;

void BusPeer::publish(const Message& message) {
    connection_->publish(message);
}

void BusPeer::publish(const std::string& topic, const std::string& payload) {
    publish({topic, payload, {}, {}, 1, false});
}

std::vector<BusPeer::Message> BusPeer::messages() const {
    const std::lock_guard lock(connection_->mutex);
    return connection_->recorded;
}

std::vector<BusPeer::Message> BusPeer::messages(const std::string& topic) const {
    std::vector<Message> result = messages();
    std::erase_if(result, [&](const Message& message) { return message.topic != topic; });
    return result;
}

bool BusPeer::waitForCount(const std::string& topic, std::size_t count,
                           std::chrono::milliseconds timeout) const {
    std::unique_lock lock(connection_->mutex);
    return connection_->changed.wait_for(lock, timeout, [&] {
        return static_cast<std::size_t>(std::count_if(
                   connection_->recorded.begin(), connection_->recorded.end(),
                   [&](const Message& message) { return message.topic == topic; })) >= count;
    });
}

std::optional<BusPeer::Message>
BusPeer::waitFor(const std::function<bool(const Message&)>& condition,
                 std::chrono::milliseconds timeout) const {
    std::unique_lock lock(connection_->mutex);
    std::optional<Message> found;
    connection_->changed.wait_for(lock, timeout, [&] {
        const auto message =
            std::find_if(connection_->recorded.begin(), connection_->recorded.end(), condition);
        if (message != connection_->recorded.end())
            found = *message;
        return found.has_value();
    });
    return found;
}

void BusPeer::clear() {
    const std::lock_guard lock(connection_->mutex);
    connection_->recorded.clear();
}
