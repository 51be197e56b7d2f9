// SPDX-License-Identifier: Apache-2.0
#include "OpenStore.h"

#include "logger/Logger.h"
#include "posix/FileStamp.h"

#include <sqlite3.h>

#include <exception>
#include <thread>
#include <utility>

namespace propertyapi {

namespace {

using posix::FileStamp;

/// Between two tries to open files that are being replaced.
constexpr std::chrono::milliseconds RETRY_TIME{5};

/// Of the log at the end, and the time between two.
constexpr int EMPTYING_TRIES = 3;
constexpr std::chrono::milliseconds EMPTYING_PAUSE{2};

[[noreturn]] void failBusy(const char* cause) {
    throw DatabaseError(SQLITE_BUSY, cause);
}

} // namespace

OpenStore::Connections::Connections(const StoreFile& file, StoreFile::Prepared prepared,
                                    SoundMark& mark, const SqliteSettings& settings,
                                    Patience& patience, std::uint64_t fileNumber,
                                    Patience::Allowance& allowance)
    : number(fileNumber)
    , files(std::move(prepared.files))
    , writer(std::move(prepared.database), files, mark, settings, patience)
    , readers([this, &file](Patience::Allowance& readersAllowance) {
        return file.open(files, readersAllowance);
    })
    , journal(file.open(files, allowance)) {
    journal.database().query("PRAGMA user_version"); // it has its log as soon as it reads
    writer.database().waitBy(nullptr);
    journal.database().waitBy(nullptr);
}

bool OpenStore::Connections::areOfOneFile() {
    return files.areComplete() && files.haveNames() && !writer.database().isMoved() &&
           !journal.database().isMoved();
}

void OpenStore::Connections::moveLogOnClose(bool move) noexcept {
    writer.database().moveLogOnClose(move);
    readers.moveLogOnClose(move);
    journal.database().moveLogOnClose(move);
}

OpenStore::OpenStore(StoreFile file, const SqliteSettings& settings,
                     std::shared_ptr<Patience> patience, std::function<void()> reopened)
    : file_(std::move(file))
    , settings_(settings)
    , patience_(std::move(patience))
    , reopened_(std::move(reopened))
    , mark_(file_.path(), settings_.bootId) {
    Patience::Allowance allowance(*patience_, settings_.busyTimeout);
    open(allowance);
    log_ = connections_->writer.database().walPath();
}

OpenStore::~OpenStore() {
    if (connections_)
        close();
}

OpenStore::Use::Use(OpenStore& store, Patience::Allowance& allowance)
    : store_(store), allowance_(allowance) {
    while (!store_.enter(allowance_))
        store_.reopen(allowance_);
    allowance_.endBy(&store_.isLost_);
}

OpenStore::Use::~Use() {
    allowance_.endBy(nullptr);
    store_.leave();
}

void OpenStore::check() {
    run([](const Connections& connections, const Patience::Allowance&) {
        if (!connections.files.haveNames())
            failBusy("its files were replaced");
    });
}

void OpenStore::moveLog() {
    run([this](Connections& connections, Patience::Allowance& allowance) {
        const Database::Waiting waiting(connections.journal.database(), allowance);
        mark_.moveLog(connections.journal.database());
    });
}

/// For who uses the connections.
bool OpenStore::isReplaced() {
    const bool isLost = !connections_->files.haveNames();
    bool replaced = false;
    patience_->change([&] { return replaced = isLost_ = isLost_ || isLost; });
    return replaced;
}

/// False when the connections are to be replaced first.
bool OpenStore::enter(Patience::Allowance& allowance) {
    bool entered = false;
    const auto attempt = [&] {
        if (isReopening_)
            return false;
        entered = connections_ && !isLost_;
        users_ += entered ? 1 : 0;
        return true;
    };
    if (!allowance.wait(attempt))
        failBusy("another thread is opening it");
    if (!entered)
        return false;
    if (connections_->files.haveDatabase())
        return true;
    lose();
    leave();
    return false;
}

void OpenStore::leave() {
    patience_->change([this] { return --users_ == 0; });
}

void OpenStore::lose() {
    patience_->change([this] { return isLost_ = true; });
}

bool OpenStore::isOpen() {
    bool open = false;
    patience_->change([&] {
        open = !isReopening_ && connections_ && !isLost_;
        return false;
    });
    return open;
}

bool OpenStore::isWriting() {
    bool isWriting = false;
    patience_->change([&] {
        isWriting = !isReopening_ && connections_ && connections_->writer.isWriting();
        return false;
    });
    return isWriting;
}

/// Replaces the connections, unless another thread does or has done so.
void OpenStore::reopen(Patience::Allowance& allowance) {
    bool isMine = false;
    const auto attempt = [&] {
        if (isReopening_)
            return false;
        isMine = isReopening_ = !connections_ || isLost_;
        return true;
    };
    if (!allowance.wait(attempt))
        failBusy("another thread is opening it");
    if (!isMine)
        return;
    try {
        if (!allowance.wait([this] { return users_ == 0; }))
            failBusy("other threads are using it");
        replace(allowance);
    } catch (...) {
        endReopening(false);
        throw;
    }
    endReopening(true);
    reopened_();
}

void OpenStore::endReopening(bool succeeded) {
    patience_->change([&] {
        isReopening_ = false;
        isLost_ = isLost_ && !succeeded;
        return true;
    });
}

void OpenStore::replace(Patience::Allowance& allowance) {
    const std::string line = "Property store " + file_.path().text();
    try {
        if (connections_) {
            file_.removeOrphans(connections_->files, allowance);
            close();
        }
        open(allowance);
    } catch (const std::exception& error) {
        // One line for all tries.
        if (!std::exchange(isReported_, true))
            LOG(3) << line << " was removed or replaced while it was open, and what is there now "
                   << "cannot be opened: " << error.what();
        throw;
    }
    if (std::exchange(isReported_, false))
        LOG(2) << line << " could be opened again";
    else
        LOG(3) << line << " was removed or replaced while it was open: what is there now is used "
               << "instead";
}

/// The connections that are always there, to one file, which has its name when the last one was
/// opened; somebody may replace it meanwhile.
void OpenStore::open(Patience::Allowance& allowance) {
    for (;;) {
        const auto before = FileStamp::of(file_.path()).id;
        try {
            connections_ =
                std::make_unique<Connections>(file_, file_.prepare(allowance), mark_, settings_,
                                              *patience_, number_ + 1, allowance);
            mark_.begin();
            if (connections_->areOfOneFile()) {
                ++number_;
                return;
            }
            file_.removeOrphans(connections_->files, allowance);
            close();
        } catch (const DatabaseError&) {
            if (FileStamp::of(file_.path()).id == before)
                throw;
        }
        if (!allowance.pause(RETRY_TIME))
            failBusy("its files are being replaced");
    }
}

/// For who closes the connections. Other programs may have the store open: none that reads or
/// writes is waited for. The log stays then, as it does after a failure.
void OpenStore::emptyLog() {
    Database& database = connections_->writer.database();
    // Commits of others alone are left where they are.
    if (!connections_->writer.hasWritten() || !mark_.isUntouched())
        return;
    try {
        // Most of the work is done without the write lock.
        mark_.moveLog(database);
        database.emptyLog();
        // Other clients look at the newest commits for a moment.
        for (int tries = 1; tries < EMPTYING_TRIES && database.walSize() > 0; ++tries) {
            std::this_thread::sleep_for(EMPTYING_PAUSE);
            database.emptyLog();
        }
    } catch (const DatabaseError&) {
        // Because of the log the store is read as a whole when it is opened again.
    }
}

/// Closes all connections. The last one of all programs moves the log into the database and removes
/// it, by its name, where both are still what they were.
void OpenStore::close() {
    // The locks are in the index: those of programs that have another one are not seen.
    if (connections_->files.haveNames())
        emptyLog();
    const bool move = connections_->files.mayRemoveLog();
    connections_->moveLogOnClose(move);
    const posix::HostPath log = connections_->writer.database().walPath();
    connections_.reset();
    const FileStamp left = FileStamp::of(log);
    // Without what is left in a log the database need not be sound.
    if (move && (left.isMissing() || (left.error == 0 && left.size == 0)))
        mark_.set();
}

} // namespace propertyapi
