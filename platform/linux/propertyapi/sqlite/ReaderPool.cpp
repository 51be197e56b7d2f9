// SPDX-License-Identifier: Apache-2.0
#include "ReaderPool.h"

#include <utility>

namespace propertyapi {

namespace {

/// Connections kept for the next read; what more threads needed at once is closed again.
constexpr std::size_t KEPT = 4;

} // namespace

ReaderPool::ReaderPool(Open open) : open_(std::move(open)) {
    idle_.lock()->reserve(KEPT);
}

std::unique_ptr<ReaderPool::Connection> ReaderPool::take(Patience::Allowance& allowance) {
    if (const auto idle = idle_.lock(); !idle->empty()) {
        auto connection = std::move(idle->back());
        idle->pop_back();
        connection->database->waitBy(&allowance);
        return connection;
    }
    return std::make_unique<Connection>(open_(allowance));
}

void ReaderPool::giveBack(std::unique_ptr<Connection> connection) {
    connection->database->waitBy(nullptr);
    const auto idle = idle_.lock();
    if (idle->size() < KEPT)
        idle->push_back(std::move(connection));
    // A connection that is left in the parameter is closed after the lock was given up.
}

void ReaderPool::moveLogOnClose(bool move) noexcept {
    for (const auto idle = idle_.lock(); const auto& connection : *idle)
        connection->database->moveLogOnClose(move);
}

} // namespace propertyapi
