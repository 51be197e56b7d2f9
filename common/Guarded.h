// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <mutex>
#include <utility>

namespace common {

/// A value that several threads use, and the mutex that guards it: the value can only be reached
/// with the lock. Hold it briefly: no callback and no join meanwhile, and input or output only
/// where taking turns at it is the purpose.
template <typename Value>
class Guarded {
public:
    /// Access to the value; holds the lock while it lives.
    template <typename Guard, typename Guarding>
    class Access {
    public:
        explicit Access(Guard& guarded) : lock_(guarded.mutex_), value_(guarded.value_) {}

        Guarding* operator->() const { return &value_; }
        Guarding& operator*() const { return value_; }

        /// Waits until a predicate of the value holds, without the lock meanwhile. changed: is
        /// notified when the value changes.
        template <typename Predicate>
        void wait(std::condition_variable& changed, Predicate holds) {
            changed.wait(lock_, [&] { return holds(value_); });
        }
        /// The same with a deadline: false when the predicate does not hold by then.
        template <typename Deadline, typename Predicate>
        bool waitUntil(std::condition_variable& changed, const Deadline& deadline,
                       Predicate holds) {
            return changed.wait_until(lock_, deadline, [&] { return holds(value_); });
        }

    private:
        std::unique_lock<std::mutex> lock_;
        Guarding& value_;
    };

    template <typename... Arguments>
    explicit Guarded(Arguments&&... arguments) : value_(std::forward<Arguments>(arguments)...) {}
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    auto lock() { return Access<Guarded, Value>(*this); }
    auto lock() const { return Access<const Guarded, const Value>(*this); }
    /// A copy of the value.
    Value get() const { return *lock(); }
    void set(Value value) { *lock() = std::move(value); }

private:
    mutable std::mutex mutex_;
    Value value_;
};

} // namespace common
