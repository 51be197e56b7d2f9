// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "StoreReader.h"
#include "common/Guarded.h"

#include <functional>
#include <memory>
#include <vector>

namespace propertyapi {

/// Connections for reading: threads that read at the same time use one each. All operations throw
/// DatabaseError, from every thread.
class ReaderPool {
public:
    using Open = std::function<std::unique_ptr<Database>(Patience::Allowance&)>;

    /// open: opens a further connection, which waits by the allowance.
    explicit ReaderPool(Open open);

    /// A connection that belongs to the holder until it gives it back by its end, and waits by the
    /// allowance.
    class Lease {
    public:
        Lease(ReaderPool& pool, Patience::Allowance& allowance)
            : pool_(pool), reader_(pool.take(allowance)) {}
        ~Lease() { pool_.giveBack(std::move(reader_)); }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;

        StoreReader& operator*() const { return *reader_; }
        StoreReader* operator->() const { return reader_.get(); }

    private:
        ReaderPool& pool_;
        std::unique_ptr<StoreReader> reader_;
    };

    /// See Database; of the connections that nobody has.
    void moveLogOnClose(bool move) noexcept;

private:
    std::unique_ptr<StoreReader> take(Patience::Allowance& allowance);
    void giveBack(std::unique_ptr<StoreReader> reader);

    const Open open_;
    common::Guarded<std::vector<std::unique_ptr<StoreReader>>> idle_;
};

} // namespace propertyapi
