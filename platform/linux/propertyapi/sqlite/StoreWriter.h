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
#include "propertyapi/IPropertyApi.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace propertyapi {

/// The connection that writes. Called from every thread; they write one after another.
/// All operations throw DatabaseError, and then nothing is written.
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
    class Turn;

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
    bool isTaken_ = false; ///< somebody has the turn; guarded by the patience
    const std::unique_ptr<Database> database_;
    bool flushing_ = true;
    Statement beginRead_;
    Statement beginWrite_;
    Statement commit_;
    RowSearch search_;
    Statement upsert_;
    Statement exists_;
    Statement delete_;
    ChangeWriter changes_;
    std::atomic<bool> isWriting_{false};
    bool hasWritten_ = false; ///< of who has the turn
};

} // namespace propertyapi
