#ifndef READERPOOL_H
#define READERPOOL_H

#include "StoreReader.h"

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace propertyapi {

/// Connections for reading: threads that read at the same time use one each. All operations throw
/// DatabaseError, from every thread.
class ReaderPool {
public:
    /// open: opens a further connection.
    explicit ReaderPool(std::function<std::unique_ptr<Database>()> open);

    /// A connection that belongs to the holder until it gives it back by its end.
    class Lease {
    public:
        explicit Lease(ReaderPool& pool) : pool_(pool), reader_(pool.take()) {}
        ~Lease() { pool_.giveBack(std::move(reader_)); }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;

        StoreReader* operator->() const { return reader_.get(); }

    private:
        ReaderPool& pool_;
        std::unique_ptr<StoreReader> reader_;
    };

private:
    std::unique_ptr<StoreReader> take();
    void giveBack(std::unique_ptr<StoreReader> reader);

    const std::function<std::unique_ptr<Database>()> open_;
    std::mutex mutex_;
    std::vector<std::unique_ptr<StoreReader>> idle_;
};

} // namespace propertyapi

#endif
