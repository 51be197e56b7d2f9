// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "posix/HostPath.h"

#include <atomic>
#include <string>

namespace propertyapi {

class Database;

/// Says of a database that it was sound in this boot of the machine when a client closed it in
/// order and its log was empty, so that it need not be read as a whole when it is opened again
/// without a log.
///
/// It is an extended attribute of the file, "user.ovo.sound": the boot, and the file's state, which
/// is its number, its size and when it was written to. Another boot, a copy, or a write after that
/// by whomever makes it void; it need not be removed, nor flushed to the disk. Where there can be
/// no such attribute the database is checked each time.
///
/// Other programs may have the store open all the time. What they commit is in the log first, and a
/// move into the database is a write.
class SoundMark {
public:
    /// path: of the database. bootId: of this boot.
    SoundMark(posix::HostPath path, const std::string& bootId);

    /// True when the database has the mark and is what it was then. From every thread.
    bool isValid() const;
    /// The database was opened and is sound. Before any other thread uses this.
    void begin();
    /// Moves the log into the database, unless another thread does so just now. What somebody else
    /// wrote to the database before is not taken to be sound. From every thread. Throws
    /// DatabaseError.
    void moveLog(Database& database);
    /// The database is damaged: it is to be checked when it is opened again. Other clients that
    /// have it open do not mark it before, but for one that moves its log or marks it just now;
    /// that lasts until damage is met once more. From every thread.
    void remove();
    /// True when nobody else has written to the database since it was opened, or another client,
    /// which knew that of its own time, marked it since; and nobody here found it damaged. After
    /// all other threads.
    bool isUntouched() const;
    /// Marks the database, which is closed and has nothing in its log any more, where it is
    /// untouched; a failure means that it is checked when it is opened. After all other threads.
    void set() const;

private:
    std::string state() const;

    const posix::HostPath path_;
    const std::string boot_;
    std::atomic<bool> isMoving_ = false;
    std::atomic<bool> isDamaged_ = false;
    std::string known_; ///< state after the last move; empty: others have written to it
};

} // namespace propertyapi
