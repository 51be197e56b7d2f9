// SPDX-License-Identifier: Apache-2.0
#include "FakePropertyApi.h"

#include "logger/Logger.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

using propertyapi::IPropertyApi;
using propertyapi::ISubscription;
using propertyapi::Property;
using propertyapi::PropertyApiException;

namespace {

struct Value {
    std::string text;
    std::string origin;
};

struct Subscriber {
    std::string key;
    IPropertyApi::Callback callback;
    /// Number of the newest change when the subscription was made; it gets those behind it.
    std::uint64_t from;
};

/// Which operations of which keys throw.
struct Failures {
    bool all = false;
    std::set<std::string> keys;

    bool hit(const std::string& key) const { return all || keys.count(key) != 0; }
    void set(const std::string& key, bool fail) {
        if (fail)
            keys.insert(key);
        else
            keys.erase(key);
    }
};

void callBack(const IPropertyApi::Callback& callback, const Property& change) {
    try {
        callback(change);
    } catch (const std::exception& error) {
        LOG(3) << "Callback for property \"" << change.key << "\" failed: " << error.what();
    } catch (...) {
        LOG(3) << "Callback for property \"" << change.key << "\" failed";
    }
}

} // namespace

/// Values, subscriptions and the notification thread. Shared with the scoped subscriptions, which
/// may outlive the client.
class FakePropertyApi::Store {
public:
    explicit Store(const Values& initial);
    ~Store() { stop(); }
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    void stop();

    std::uint64_t add(const std::string& key, Callback callback);
    void end(std::uint64_t subscriber);
    unsigned int write(const Batch& batch, const std::string& origin);
    bool remove(const std::string& key);
    /// The stored value or nothing; throws where the test wants it.
    const Value* find(const std::string& key);
    bool waitForDelivery(std::chrono::milliseconds timeout);

    mutable std::mutex mutex;
    Failures failingReads;
    Failures failingWrites;
    std::map<std::string, Value> values;
    std::map<std::string, unsigned int> reads;
    std::map<std::uint64_t, std::shared_ptr<Subscriber>> subscribers;
    std::vector<Write> writes;

private:
    void refuseFailing(const Batch& batch) const;
    void change(const std::string& key, const std::string& value);
    void run();
    void deliver(std::unique_lock<std::mutex>& lock, std::uint64_t number, const Property& change);

    std::condition_variable changed_;
    std::condition_variable delivered_;
    std::deque<Property> changes_;
    std::uint64_t newest_ = 0;
    std::uint64_t done_ = 0;
    std::uint64_t nextSubscriber_ = 1;
    std::uint64_t running_ = 0;
    std::thread::id notifier_; ///< the notification thread, once it runs
    unsigned int batches_ = 0;
    bool stopping_ = false;
    std::thread thread_;
};

FakePropertyApi::Store::Store(const Values& initial) {
    for (const auto& [key, value] : initial)
        values[key] = {value, {}};
    thread_ = std::thread([this] { run(); });
}

void FakePropertyApi::Store::stop() {
    {
        const std::lock_guard lock(mutex);
        stopping_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable())
        thread_.join();
}

std::uint64_t FakePropertyApi::Store::add(const std::string& key, Callback callback) {
    const std::lock_guard lock(mutex);
    const std::uint64_t subscriber = nextSubscriber_++;
    subscribers[subscriber] =
        std::make_shared<Subscriber>(Subscriber{key, std::move(callback), newest_});
    return subscriber;
}

void FakePropertyApi::Store::end(std::uint64_t subscriber) {
    std::shared_ptr<Subscriber> ended; // its callback is destroyed without the lock
    std::unique_lock lock(mutex);
    if (const auto found = subscribers.find(subscriber); found != subscribers.end()) {
        ended = std::move(found->second);
        subscribers.erase(found);
    }
    if (std::this_thread::get_id() != notifier_)
        delivered_.wait(lock, [&] { return running_ != subscriber; });
    lock.unlock();
}

void FakePropertyApi::Store::refuseFailing(const Batch& batch) const {
    for (const auto& [key, value] : batch)
        if (failingWrites.hit(key))
            throw PropertyApiException("Cannot write property \"" + key + "\": made to fail");
}

unsigned int FakePropertyApi::Store::write(const Batch& batch, const std::string& origin) {
    unsigned int differing = 0;
    {
        const std::lock_guard lock(mutex);
        refuseFailing(batch);
        ++batches_;
        for (const auto& [key, value] : batch) {
            writes.push_back({key, value, origin, batches_});
            const auto [stored, isNew] = values.try_emplace(key, Value{{}, origin});
            if (stored->second.text == value)
                continue;
            stored->second = {value, origin};
            change(key, value);
            ++differing;
        }
    }
    changed_.notify_all();
    return differing;
}

bool FakePropertyApi::Store::remove(const std::string& key) {
    bool existed = false;
    {
        const std::lock_guard lock(mutex);
        refuseFailing({{key, {}}});
        ++batches_;
        writes.push_back({key, {}, {}, batches_});
        const auto stored = values.find(key);
        existed = stored != values.end();
        if (existed) {
            const bool differs = !stored->second.text.empty();
            values.erase(stored);
            if (differs)
                change(key, {});
        }
    }
    changed_.notify_all();
    return existed;
}

void FakePropertyApi::Store::change(const std::string& key, const std::string& value) {
    changes_.push_back({key, value});
    ++newest_;
}

const Value* FakePropertyApi::Store::find(const std::string& key) {
    ++reads[key];
    if (failingReads.hit(key))
        throw PropertyApiException("Cannot read property \"" + key + "\": made to fail");
    const auto stored = values.find(key);
    return stored == values.end() ? nullptr : &stored->second;
}

void FakePropertyApi::Store::run() {
    std::unique_lock lock(mutex);
    notifier_ = std::this_thread::get_id();
    for (;;) {
        changed_.wait(lock, [this] { return stopping_ || !changes_.empty(); });
        if (stopping_)
            return;
        const Property change = std::move(changes_.front());
        changes_.pop_front();
        deliver(lock, done_ + 1, change);
        ++done_;
        delivered_.notify_all();
    }
}

void FakePropertyApi::Store::deliver(std::unique_lock<std::mutex>& lock, std::uint64_t number,
                                     const Property& change) {
    // The lock is given up for each callback: what comes and goes meanwhile is found by its number.
    for (auto next = subscribers.begin(); next != subscribers.end() && !stopping_;) {
        const std::uint64_t id = next->first;
        std::shared_ptr<Subscriber> subscriber = next->second;
        if (subscriber->key == change.key && subscriber->from < number) {
            running_ = id;
            lock.unlock();
            callBack(subscriber->callback, change);
            subscriber.reset();
            lock.lock();
            running_ = 0;
            delivered_.notify_all();
        }
        next = subscribers.upper_bound(id);
    }
}

bool FakePropertyApi::Store::waitForDelivery(std::chrono::milliseconds timeout) {
    std::unique_lock lock(mutex);
    const std::uint64_t upTo = newest_;
    return delivered_.wait_for(lock, timeout, [&] { return done_ >= upTo; });
}

FakePropertyApi::FakePropertyApi(const Values& values) : store_(std::make_shared<Store>(values)) {}

FakePropertyApi::~FakePropertyApi() {
    store_->stop();
}

bool FakePropertyApi::exists(const std::string& key) const {
    const std::lock_guard lock(store_->mutex);
    return store_->find(key) != nullptr;
}

std::string FakePropertyApi::getValue(const std::string& key) const {
    return getValue(key, {});
}

std::string FakePropertyApi::getValue(const std::string& key,
                                      const std::string& defaultValue) const {
    const std::lock_guard lock(store_->mutex);
    const Value* value = store_->find(key);
    return value == nullptr ? defaultValue : value->text;
}

void FakePropertyApi::subscribe(const std::string& key, Callback callback) const {
    store_->add(key, std::move(callback));
}

std::unique_ptr<ISubscription> FakePropertyApi::subscribeScoped(const std::string& key,
                                                                Callback callback) const {
    class Scoped : public ISubscription {
    public:
        Scoped(std::shared_ptr<Store> store, std::uint64_t subscriber)
            : store_(std::move(store)), subscriber_(subscriber) {}
        ~Scoped() override { store_->end(subscriber_); }
        Scoped(const Scoped&) = delete;
        Scoped& operator=(const Scoped&) = delete;

    private:
        const std::shared_ptr<Store> store_;
        const std::uint64_t subscriber_;
    };
    return std::make_unique<Scoped>(store_, store_->add(key, std::move(callback)));
}

bool FakePropertyApi::setValue(const std::string& key, const std::string& value) const {
    return store_->write({{key, value}}, {}) != 0;
}

bool FakePropertyApi::removeValue(const std::string& key) const {
    return store_->remove(key);
}

unsigned int FakePropertyApi::setValues(const Batch& batch, const std::string& origin) const {
    return store_->write(batch, origin);
}

void FakePropertyApi::failReads(const std::string& key, bool fail) {
    const std::lock_guard lock(store_->mutex);
    store_->failingReads.set(key, fail);
}

void FakePropertyApi::failWrites(const std::string& key, bool fail) {
    const std::lock_guard lock(store_->mutex);
    store_->failingWrites.set(key, fail);
}

void FakePropertyApi::failAllReads(bool fail) {
    const std::lock_guard lock(store_->mutex);
    store_->failingReads.all = fail;
}

void FakePropertyApi::failAllWrites(bool fail) {
    const std::lock_guard lock(store_->mutex);
    store_->failingWrites.all = fail;
}

std::vector<FakePropertyApi::Write> FakePropertyApi::writes() const {
    const std::lock_guard lock(store_->mutex);
    return store_->writes;
}

std::vector<std::string> FakePropertyApi::writesOf(const std::string& key) const {
    std::vector<std::string> result;
    for (const Write& write : writes())
        if (write.key == key)
            result.push_back(write.value);
    return result;
}

void FakePropertyApi::clearWrites() {
    const std::lock_guard lock(store_->mutex);
    store_->writes.clear();
}

unsigned int FakePropertyApi::readsOf(const std::string& key) const {
    const std::lock_guard lock(store_->mutex);
    const auto found = store_->reads.find(key);
    return found == store_->reads.end() ? 0 : found->second;
}

unsigned int FakePropertyApi::subscriptionsOf(const std::string& key) const {
    const std::lock_guard lock(store_->mutex);
    return static_cast<unsigned int>(
        std::count_if(store_->subscribers.begin(), store_->subscribers.end(),
                      [&](const auto& entry) { return entry.second->key == key; }));
}

FakePropertyApi::Values FakePropertyApi::values() const {
    const std::lock_guard lock(store_->mutex);
    std::map<std::string, std::string> result;
    for (const auto& [key, value] : store_->values)
        result[key] = value.text;
    return result;
}

std::string FakePropertyApi::originOf(const std::string& key) const {
    const std::lock_guard lock(store_->mutex);
    const auto found = store_->values.find(key);
    return found == store_->values.end() ? std::string() : found->second.origin;
}

bool FakePropertyApi::waitForDelivery(std::chrono::milliseconds timeout) const {
    return store_->waitForDelivery(timeout);
}
