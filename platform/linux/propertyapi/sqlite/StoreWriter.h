// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ChangeWriter.h"
#include "Database.h"
#include "Patience.h"
#include "RowSearch.h"
#include "SoundMark.h"
#include "SqliteSettings.h"
#include "Statement.h"
#include "StoreFiles.h"
#include "StoreReader.h"
#include "propertyapi/IPropertyApi.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

namespace propertyapi {

/// The connection that writes, and reads while nobody writes. Called from every thread; they use it
/// one after another. All operations throw DatabaseError, and then nothing is written.
class StoreWriter {
public:
    /// files: those that the database has open. mark: that of the database. patience: the one of
    /// all allowances.
    StoreWriter(std::unique_ptr<Database> database, const StoreFiles& files, SoundMark& mark,
                const SqliteSettings& settings, Patience& patience);

    /// Writes a batch in one transaction. Returns the number of writes after which the value
    /// differed. The disk is flushed once (three times by the write that begins a new log), not at
    /// all for keys of one boot, and nothing is locked when every key has its value already.
    unsigned int write(const IPropertyApi::Batch& batch, const std::string& origin,
                       Patience::Allowance& allowance);
    /// Removes a key; true when it existed.
    bool remove(const std::string& key, Patience::Allowance& allowance);
    /// Reads by an operation, a callable with StoreReader&, without waiting for others: nothing
    /// when somebody else has the connection or waits for it.
    template <typename Operation>
    auto readIfFree(Operation operation, Patience::Allowance& allowance)
        -> std::optional<std::invoke_result_t<Operation, StoreReader&>> {
        if (!takeIfFree())
            return std::nullopt;
        const Turn turn(*this, allowance);
        return operation(reader_);
    }
    /// See ChangeWriter. From every thread, without a turn.
    ChangeSpan overflow() const { return changes_.overflow(); }
    Database& database() { return *database_; }
    /// True while a thread holds the write lock here, so that nobody else can commit. From every
    /// thread.
    bool isWriting() const { return isWriting_; }
    /// True when something was committed. After all other threads.
    bool hasWritten() const { return hasWritten_; }

private:
    /// The use of the connection by one thread: waiting for the disk, it would otherwise hold a
    /// lock across output. A thread that had to wait looks again at what it is about to write to.
    class Turn {
    public:
        /// For the thread that the connection belongs to now.
        Turn(StoreWriter& writer, Patience::Allowance& allowance);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        StoreWriter& writer_;
    };

    bool takeIfFree();
    Turn awaitTurn(Patience::Allowance& allowance);

    template <typename Work>
    void transact(bool lasting, const Patience::Allowance& allowance, Work work);
    void requireFiles(const Patience::Allowance& allowance) const;
    bool holdsAll(const IPropertyApi::Batch& batch);
    bool writeOne(const std::string& key, const std::string& value, const std::string& origin);
    void flushOnCommit(bool flush);
    void shortenLog();

    const SqliteSettings settings_;
    const StoreFiles& files_;
    SoundMark& mark_;
    Patience& patience_;
    bool isTaken_ = false;  ///< somebody has the connection; guarded by the patience
    int waitingWrites_ = 0; ///< for it; the same
    const std::unique_ptr<Database> database_;
    bool flushing_ = true;
    Statement beginRead_;
    Statement beginWrite_;
    Statement commit_;
    StoreReader reader_;
    RowSearch search_;
    Statement upsert_;
    Statement delete_;
    ChangeWriter changes_;
    std::atomic<bool> isWriting_{false};
    bool hasWritten_ = false; ///< of who has the turn
};

} // namespace propertyapi
