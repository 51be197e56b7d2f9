// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>

/// Counts the flushes to the disk, fsync and fdatasync, that this process makes: the test program
/// has its own versions of both, which the database library uses too.
namespace flushes {

/// Those of the calling thread since it began.
unsigned int ofThisThread();
/// Those of all threads.
unsigned int ofAllThreads();
/// Makes each flush take longer, as a slow disk does.
void slowDown(std::chrono::milliseconds time);
/// Makes each flush fail, as a broken disk does.
void fail(bool fails);
/// Does something just before the next flush, by whatever thread, once.
void beforeNext(std::function<void()> action);

} // namespace flushes
