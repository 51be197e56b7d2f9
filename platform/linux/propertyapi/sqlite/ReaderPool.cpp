// SPDX-License-Identifier: Apache-2.0
#include "ReaderPool.h"

#include <utility>

namespace propertyapi {

namespace {

/// Connections kept for the next read; what more threads needed at once is closed again.
constexpr std::size_t KEPT = 4;

} // namespace

ReaderPool::ReaderPool(Open open) : open_(std::move(open)) {
    idle_.reserve(KEPT);
}

std::unique_ptr<StoreReader> ReaderPool::take(Patience::Allowance& allowance) {
    {
        const std::lock_guard lock(mutex_);
        if (!idle_.empty()) {
            auto reader = std::move(idle_.back());
            idle_.pop_back();
            reader->waitBy(&allowance);
            return reader;
        }
    }
    return std::make_unique<StoreReader>(open_(allowance));
}

void ReaderPool::giveBack(std::unique_ptr<StoreReader> reader) {
    reader->waitBy(nullptr);
    const std::lock_guard lock(mutex_);
    if (idle_.size() < KEPT)
        idle_.push_back(std::move(reader));
    // What is left in the parameter is closed after the lock, which is destroyed before it.
}

void ReaderPool::moveLogOnClose(bool move) noexcept {
    const std::lock_guard lock(mutex_);
    for (const auto& reader : idle_)
        reader->moveLogOnClose(move);
}

} // namespace propertyapi
