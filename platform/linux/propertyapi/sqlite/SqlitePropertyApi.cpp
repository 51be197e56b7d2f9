// SPDX-License-Identifier: Apache-2.0
#include "SqlitePropertyApi.h"

#include "BootId.h"
#include "Notifier.h"
#include "OpenStore.h"
#include "Patience.h"
#include "Subscribers.h"
#include "paths/Paths.h"
#include "text/Quote.h"

#include <stdexcept>
#include <utility>

namespace propertyapi {

namespace {

/// Runs an operation; what goes wrong in it becomes the interface's exception. what: gives the text
/// that says what was being done.
template <typename What, typename Operation>
auto translating(What what, Operation operation) {
    try {
        return operation();
    } catch (const std::exception& error) {
        throw PropertyApiException("Cannot " + what() + ": " + error.what());
    }
}

template <typename Operation>
auto onProperty(const char* what, const std::string& key, Operation operation) {
    return translating([&] { return std::string(what) + " property " + quote(key); }, operation);
}

SqliteSettings withBootId(SqliteSettings settings) {
    settings.bootId = bootIdOf(settings);
    return settings;
}

class ScopedSubscription : public ISubscription {
public:
    ScopedSubscription(std::shared_ptr<Subscribers> subscribers, std::string key,
                       Subscribers::Id id)
        : subscribers_(std::move(subscribers)), key_(std::move(key)), id_(id) {}
    ~ScopedSubscription() override { subscribers_->end(key_, id_); }
    ScopedSubscription(const ScopedSubscription&) = delete;
    ScopedSubscription& operator=(const ScopedSubscription&) = delete;

private:
    const std::shared_ptr<Subscribers> subscribers_; // may outlive the client
    const std::string key_;
    const Subscribers::Id id_;
};

} // namespace

class SqlitePropertyApi::Client {
public:
    Client(const std::string& path, const SqliteSettings& settings,
           std::shared_ptr<Patience> patience)
        : store_(StoreFile(paths::toHost(path), settings), settings,
                 patience ? std::move(patience) : std::make_shared<Patience>(),
                 [this] { notifier_.wake(); })
        , subscribers_(std::make_shared<Subscribers>())
        , notifier_(store_, subscribers_, settings) {}

    /// The thread ends first: a callback that runs may use the store.
    ~Client() { notifier_.stop(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    Subscribers::Id subscribe(const std::string& key, Callback callback) {
        ChangePosition position;
        StoreReader::State state;
        store_.run([&](Connections& connections, Allowance& allowance) {
            state =
                connections.read([&](StoreReader& reader) { return reader.state(key); }, allowance);
            position = {connections.number, state.newest};
        });
        const Subscribers::Id id =
            subscribers_->add(key, std::move(callback), position, std::move(state.value));
        // A change committed in between has been looked at by then.
        notifier_.wake();
        return id;
    }

    /// operation: a callable with StoreReader&.
    template <typename Operation>
    auto read(Operation operation) {
        return store_.run([&](Connections& connections, Allowance& allowance) {
            return connections.read(operation, allowance);
        });
    }

    unsigned int write(const Batch& batch, const std::string& origin) {
        const unsigned int differing =
            store_.run([&](Connections& connections, Allowance& allowance) {
                return connections.writer.write(batch, origin, allowance);
            });
        if (differing > 0)
            notifier_.wake();
        return differing;
    }

    bool remove(const std::string& key) {
        const bool existed = store_.run([&](Connections& connections, Allowance& allowance) {
            return connections.writer.remove(key, allowance);
        });
        if (existed)
            notifier_.wake();
        return existed;
    }

    Notifier& notifier() { return notifier_; }
    const std::shared_ptr<Subscribers>& subscribers() { return subscribers_; }

private:
    using Connections = OpenStore::Connections;
    using Allowance = Patience::Allowance;

    OpenStore store_;
    const std::shared_ptr<Subscribers> subscribers_;
    Notifier notifier_;
};

SqlitePropertyApi::SqlitePropertyApi(const std::string& path, const SqliteSettings& settings,
                                     std::shared_ptr<Patience> patience)
    : client_(translating([&] { return "open property store " + quote(path); },
                          [&] {
                              return std::make_unique<Client>(path, withBootId(settings),
                                                              std::move(patience));
                          })) {}

SqlitePropertyApi::~SqlitePropertyApi() = default;

void SqlitePropertyApi::stop() {
    client_->notifier().stop();
}

bool SqlitePropertyApi::exists(const std::string& key) const {
    return onProperty("look for", key, [&] {
        return client_->read([&](StoreReader& reader) { return reader.exists(key); });
    });
}

std::string SqlitePropertyApi::getValue(const std::string& key) const {
    return getValue(key, {});
}

std::string SqlitePropertyApi::getValue(const std::string& key,
                                        const std::string& defaultValue) const {
    return onProperty("read", key, [&] {
        return client_->read([&](StoreReader& reader) { return reader.value(key); })
            .value_or(defaultValue);
    });
}

void SqlitePropertyApi::subscribe(const std::string& key, Callback callback) const {
    onProperty("subscribe to", key, [&] { client_->subscribe(key, std::move(callback)); });
}

std::unique_ptr<ISubscription> SqlitePropertyApi::subscribeScoped(const std::string& key,
                                                                  Callback callback) const {
    return onProperty("subscribe to", key, [&] {
        const Subscribers::Id id = client_->subscribe(key, std::move(callback));
        return std::make_unique<ScopedSubscription>(client_->subscribers(), key, id);
    });
}

bool SqlitePropertyApi::setValue(const std::string& key, const std::string& value) const {
    return onProperty("write", key, [&] { return client_->write({{key, value}}, {}) != 0; });
}

bool SqlitePropertyApi::removeValue(const std::string& key) const {
    return onProperty("remove", key, [&] { return client_->remove(key); });
}

unsigned int SqlitePropertyApi::setValues(const Batch& batch, const std::string& origin) const {
    if (batch.size() == 1)
        return onProperty("write", batch.front().first,
                          [&] { return client_->write(batch, origin); });
    return translating(
        [&] {
            return "write batch of " + std::to_string(batch.size()) + " properties" +
                   (batch.empty() ? "" : ", first " + quote(batch.front().first));
        },
        [&] { return client_->write(batch, origin); });
}

} // namespace propertyapi
