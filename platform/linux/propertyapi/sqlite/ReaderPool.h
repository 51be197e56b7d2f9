// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Database.h"
#include "StoreReader.h"
#include "common/Guarded.h"

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace propertyapi {

/// Connections for reading beside the one that writes: threads that read at the same time use one
/// each. All operations throw DatabaseError, from every thread.
class ReaderPool {
    struct Connection {
        explicit Connection(std::unique_ptr<Database> opened)
            : database(std::move(opened)), reader(*database) {}

        const std::unique_ptr<Database> database;
        StoreReader reader;
    };

public:
    using Open = std::function<std::unique_ptr<Database>(Patience::Allowance&)>;

    /// open: opens a further connection, which waits by the allowance.
    explicit ReaderPool(Open open);

    /// A connection that belongs to the holder until it gives it back by its end, and waits by the
    /// allowance.
    class Lease {
    public:
        Lease(ReaderPool& pool, Patience::Allowance& allowance)
            : pool_(pool), connection_(pool.take(allowance)) {}
        ~Lease() { pool_.giveBack(std::move(connection_)); }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;

        StoreReader& operator*() const { return connection_->reader; }
        StoreReader* operator->() const { return &connection_->reader; }

    private:
        ReaderPool& pool_;
        std::unique_ptr<Connection> connection_;
    };

    /// See Database; of the connections that nobody has.
    void moveLogOnClose(bool move) noexcept;

private:
    std::unique_ptr<Connection> take(Patience::Allowance& allowance);
    void giveBack(std::unique_ptr<Connection> connection);

    const Open open_;
    common::Guarded<std::vector<std::unique_ptr<Connection>>> idle_;
};

} // namespace propertyapi
