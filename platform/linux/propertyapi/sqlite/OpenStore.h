// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ChangeJournal.h"
#include "DatabaseError.h"
#include "Patience.h"
#include "ReaderPool.h"
#include "SoundMark.h"
#include "SqliteSettings.h"
#include "StoreFile.h"
#include "StoreFiles.h"
#include "StoreWriter.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

namespace propertyapi {

/// The store as a client has it open: the connections to the files that have its names.
///
/// Every operation begins with a look at whether the database still has its name. Where it was
/// removed or replaced, the thread that finds out closes all connections, as soon as the others
/// have left them, and opens what is there now, which the others wait for; a wait for the old file
/// ends at once. No lock is held meanwhile: a flag guarded by the patience says who does it.
///
/// All operations throw DatabaseError, from every thread.
class OpenStore {
public:
    /// What an operation works with.
    struct Connections {
        /// file: waits by the allowance for the connections that it opens here.
        Connections(const StoreFile& file, StoreFile::Prepared prepared, SoundMark& mark,
                    const SqliteSettings& settings, Patience& patience, std::uint64_t fileNumber,
                    Patience::Allowance& allowance);

        /// All were opened before the files were replaced, if they were.
        bool areOfOneFile();
        /// Reads by an operation, a callable with StoreReader&: beside a thread that writes or
        /// reads, through a connection of its own.
        template <typename Operation>
        auto read(Operation operation, Patience::Allowance& allowance) {
            if (auto result = writer.readIfFree(operation, allowance))
                return *std::move(result);
            const ReaderPool::Lease reader(readers, allowance);
            return operation(*reader);
        }
        /// See Database; of all connections.
        void moveLogOnClose(bool move) noexcept;

        const std::uint64_t number; ///< of the file that the client has open, counted from 1
        const StoreFiles files;
        StoreWriter writer;
        ReaderPool readers;
        ChangeJournal journal; ///< for the notification thread
    };

    /// Opens the store. reopened: called when it was opened again.
    OpenStore(StoreFile file, const SqliteSettings& settings, std::shared_ptr<Patience> patience,
              std::function<void()> reopened);
    ~OpenStore();
    OpenStore(const OpenStore&) = delete;
    OpenStore& operator=(const OpenStore&) = delete;

    /// Runs an operation, a callable with Connections& and Patience::Allowance&, on the files that
    /// have the store's names; once more when they lost them and the operation failed. Not from
    /// within another one.
    template <typename Operation>
    auto run(Operation operation) {
        Patience::Allowance allowance(*patience_, settings_.busyTimeout);
        for (;;) {
            const Use use(*this, allowance);
            try {
                return operation(*connections_, allowance);
            } catch (const DatabaseError& error) {
                if (error.isDamage())
                    mark_.remove();
                if (!isReplaced())
                    throw;
            }
        }
    }
    /// Runs an operation of the notification thread, a callable with ChangeJournal&, the number of
    /// its file, and the connection that writes to that.
    template <typename Operation>
    void runOnJournal(Operation operation) {
        run([&](Connections& connections, Patience::Allowance& allowance) {
            const Database::Waiting waiting(connections.journal.database(), allowance);
            operation(connections.journal, connections.number, std::as_const(connections.writer));
        });
    }
    /// Moves what it can of the log into the database. For the notification thread.
    void moveLog();
    /// Looks at the log and its index too, as single operations do not, and opens the store again
    /// where any file lost its name.
    void check();
    /// False while what has the store's name could not be opened, which has been reported.
    bool isOpen();
    /// True while a thread of this client holds the store's write lock.
    bool isWriting();
    /// The write-ahead log.
    const posix::HostPath& log() const { return log_; }

private:
    /// The use of the connections by one operation.
    class Use {
    public:
        Use(OpenStore& store, Patience::Allowance& allowance);
        ~Use();
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

    private:
        OpenStore& store_;
        Patience::Allowance& allowance_;
    };

    bool enter(Patience::Allowance& allowance);
    void leave();
    void lose();
    bool isReplaced();
    void reopen(Patience::Allowance& allowance);
    void endReopening(bool succeeded);
    void replace(Patience::Allowance& allowance);
    void open(Patience::Allowance& allowance);
    void emptyLog();
    void close();

    const StoreFile file_;
    const SqliteSettings settings_;
    const std::shared_ptr<Patience> patience_;
    const std::function<void()> reopened_;
    posix::HostPath log_;

    // Guarded by the patience.
    int users_ = 0;
    bool isLost_ = false;      ///< the connections are to be replaced
    bool isReopening_ = false; ///< by a thread, to which alone what follows belongs

    SoundMark mark_;                           ///< of the database that is open
    std::uint64_t number_ = 0;                 ///< of the file opened last
    bool isReported_ = false;                  ///< that it could not be opened
    std::unique_ptr<Connections> connections_; ///< none when it could not be opened
};

} // namespace propertyapi
