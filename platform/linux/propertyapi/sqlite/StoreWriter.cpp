// SPDX-License-Identifier: Apache-2.0
#include "StoreWriter.h"

#include "DatabaseError.h"
#include "Schema.h"
#include "Transaction.h"

#include <sqlite3.h>

#include <algorithm>
#include <utility>

namespace propertyapi {

namespace {

/// A log shorter than its header has none yet.
constexpr std::int64_t WAL_HEADER = 32;

bool anyLasting(const IPropertyApi::Batch& batch) {
    return std::any_of(batch.begin(), batch.end(),
                       [](const auto& entry) { return !schema::livesForOneBoot(entry.first); });
}

/// True while the object lives.
class Raised {
public:
    explicit Raised(std::atomic<bool>& flag) : flag_(flag) { flag_ = true; }
    ~Raised() { flag_ = false; }
    Raised(const Raised&) = delete;
    Raised& operator=(const Raised&) = delete;

private:
    std::atomic<bool>& flag_;
};

} // namespace

StoreWriter::Turn::Turn(StoreWriter& writer, Patience::Allowance& allowance) : writer_(writer) {
    writer_.database_->waitBy(&allowance);
}

StoreWriter::Turn::~Turn() {
    writer_.database_->waitBy(nullptr);
    writer_.patience_.change([this] {
        writer_.isTaken_ = false;
        return true;
    });
}

/// True when the connection belongs to the calling thread now. Never where a write may have to wait
/// for that: writes go first, and at the process's end there is hardly time to wait.
bool StoreWriter::takeIfFree() {
    if (patience_.isLimited())
        return false;
    bool isFree = false;
    patience_.change([&] {
        isFree = waitingWrites_ == 0 && !std::exchange(isTaken_, true);
        return false;
    });
    return isFree;
}

StoreWriter::Turn StoreWriter::awaitTurn(Patience::Allowance& allowance) {
    bool isWaiting = false;
    const auto take = [&] {
        if (!isTaken_)
            return isTaken_ = true;
        waitingWrites_ += std::exchange(isWaiting, true) ? 0 : 1;
        return false;
    };
    const bool isTaken = allowance.wait(take);
    if (isWaiting)
        patience_.change([this] {
            --waitingWrites_;
            return false;
        });
    if (!isTaken)
        throw DatabaseError(SQLITE_BUSY, "other threads are using its connection");
    return Turn(*this, allowance);
}

StoreWriter::StoreWriter(std::unique_ptr<Database> database, const StoreFiles& files,
                         SoundMark& mark, const SqliteSettings& settings, Patience& patience)
    : settings_(settings)
    , files_(files)
    , mark_(mark)
    , patience_(patience)
    , database_(std::move(database))
    , beginRead_(*database_, "BEGIN")
    , beginWrite_(*database_, "BEGIN IMMEDIATE")
    , commit_(*database_, "COMMIT")
    , reader_(*database_)
    , search_(*database_)
    , upsert_(*database_, "INSERT INTO property(key, value, origin) VALUES(?1, ?2, ?3) "
                          "ON CONFLICT(key) DO UPDATE SET value = excluded.value, "
                          "origin = excluded.origin WHERE value IS NOT excluded.value")
    , delete_(*database_, "DELETE FROM property WHERE key = ?1 RETURNING value")
    , changes_(*database_, settings_.journalBound) {
    database_->execute("PRAGMA journal_size_limit = " + std::to_string(settings_.walIdleLimit));
    // The first flush of a log through a connection flushes its directory too: done here, so that a
    // write flushes once. A log that is still to be made is left to the first write, which flushes
    // its header and its directory then: who only reads must not write.
    if (database_->walSize() >= WAL_HEADER)
        database_->flushWal();
}

unsigned int StoreWriter::write(const IPropertyApi::Batch& batch, const std::string& origin,
                                Patience::Allowance& allowance) {
    const Turn turn = awaitTurn(allowance);
    requireFiles(allowance);
    if (holdsAll(batch))
        return 0;
    unsigned int differing = 0;
    transact(anyLasting(batch), allowance, [&] {
        for (const auto& [key, value] : batch)
            differing += writeOne(key, value, origin) ? 1U : 0U;
    });
    return differing;
}

bool StoreWriter::remove(const std::string& key, Patience::Allowance& allowance) {
    const Turn turn = awaitTurn(allowance);
    requireFiles(allowance);
    if (!reader_.exists(key))
        return false;
    bool existed = false;
    transact(!schema::livesForOneBoot(key), allowance, [&] {
        Statement::Run run(delete_);
        existed = run.bind(1, key).step();
        if (existed && !run.text(0).empty())
            changes_.note(key, {});
    });
    return existed;
}

/// The files were looked at when the operation began: who did not wait since need not do so again.
void StoreWriter::requireFiles(const Patience::Allowance& allowance) const {
    if (allowance.hasWaited() && !files_.haveNames())
        throw DatabaseError(SQLITE_BUSY, "it was replaced meanwhile");
}

template <typename Work>
void StoreWriter::transact(bool lasting, const Patience::Allowance& allowance, Work work) {
    shortenLog();
    flushOnCommit(lasting);
    Transaction transaction(*database_, beginWrite_);
    const Raised writing(isWriting_);
    requireFiles(allowance);
    changes_.begin();
    work();
    changes_.finish();
    transaction.commit(commit_);
    hasWritten_ = true;
}

bool StoreWriter::holdsAll(const IPropertyApi::Batch& batch) {
    Transaction snapshot(*database_, beginRead_);
    const bool all = search_.holdsAll(batch);
    snapshot.commit(commit_);
    return all;
}

/// True when the value differs from the one before.
bool StoreWriter::writeOne(const std::string& key, const std::string& value,
                           const std::string& origin) {
    // A key that does not exist reads as the empty text: writing that to it is no change.
    const bool wasOther = !value.empty() || reader_.exists(key);
    Statement::Run(upsert_).bind(1, key).bind(2, value).bind(3, origin).step();
    const bool differs = wasOther && database_->changedRows() > 0;
    if (differs)
        changes_.note(key, value);
    return differs;
}

/// Without flushing, only the beginning of the log anew is flushed, which keeps it sound.
void StoreWriter::flushOnCommit(bool flush) {
    if (flush == flushing_)
        return;
    database_->execute(flush ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
    flushing_ = flush;
}

/// Fails when the log is not the one that has the name: nobody would ever read what is written to
/// it. Bounds it where writes follow each other so closely that the notification thread never finds
/// the moment in which all of it has been moved.
void StoreWriter::shortenLog() {
    const std::optional<std::int64_t> size = files_.logSize();
    if (!size)
        throw DatabaseError(SQLITE_BUSY, "its log was removed or replaced meanwhile");
    if (*size < settings_.walWriterLimit)
        return;
    try {
        mark_.moveLog(*database_);
    } catch (const DatabaseError&) {
        // What keeps the log from being moved need not keep this write from being made; the
        // notification thread reports it.
        return;
    }
}

} // namespace propertyapi
