#include "SqlitePropertyApi.h"

#include "Notifier.h"
#include "Patience.h"
#include "ReaderPool.h"
#include "Root.h"
#include "StoreFile.h"
#include "StoreWriter.h"
#include "Subscribers.h"
#include "text/Quote.h"

#include <fstream>
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

/// The kernel's id of this boot, the machine's own also where the phone's root is another
/// directory.
std::string machineBootId() {
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::string id;
    if (!std::getline(file, id) || id.empty())
        throw std::runtime_error("cannot read the kernel's boot id");
    return id;
}

SqliteSettings withBootId(SqliteSettings settings) {
    if (settings.bootId.empty())
        settings.bootId = machineBootId();
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

/// The connections: one that writes, some that read, one that the notification thread reads with.
class SqlitePropertyApi::Client {
public:
    Client(const std::string& path, const SqliteSettings& settings,
           std::shared_ptr<Patience> patience)
        : patience_(patience ? std::move(patience) : std::make_shared<Patience>())
        , opening_(*patience_, settings.busyTimeout)
        , time_(settings.busyTimeout)
        , file_(root::toHost(path), settings)
        , writer_(file_.prepare(opening_), settings, *patience_, [this] { notifier_.wake(); })
        , readers_([this](Patience::Allowance& allowance) { return file_.open(allowance); })
        , subscribers_(std::make_shared<Subscribers>())
        , notifier_(file_.open(opening_), subscribers_, settings, *patience_) {}

    /// operation: a callable with StoreReader&.
    template <typename Operation>
    auto read(Operation operation) {
        Patience::Allowance allowance(*patience_, time_);
        const ReaderPool::Lease reader(readers_, allowance);
        return operation(*reader);
    }

    Subscribers::Id subscribe(const std::string& key, Callback callback) {
        // Read first: a change that is committed while this runs may be left out, one that was
        // committed before must be.
        const std::int64_t newest = read([](StoreReader& reader) { return reader.newestChange(); });
        return subscribers_->add(key, std::move(callback), newest);
    }

    unsigned int write(const Batch& batch, const std::string& origin) {
        Patience::Allowance allowance(*patience_, time_);
        return writer_.write(batch, origin, allowance);
    }

    bool remove(const std::string& key) {
        Patience::Allowance allowance(*patience_, time_);
        return writer_.remove(key, allowance);
    }

    Notifier& notifier() { return notifier_; }
    const std::shared_ptr<Subscribers>& subscribers() { return subscribers_; }

private:
    const std::shared_ptr<Patience> patience_;
    Patience::Allowance opening_;
    const std::chrono::milliseconds time_; ///< that an operation may wait
    const StoreFile file_;
    StoreWriter writer_;
    ReaderPool readers_;
    const std::shared_ptr<Subscribers> subscribers_;
    Notifier notifier_; // the last: its end waits for a callback, which may use the others
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
