// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "StepsStore.h"

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// What every daemon of such a phone does between its exec and its first answer, besides its store
/// and its bus: it locks its name, reads the phone's configuration, looks through its directories,
/// subscribes to properties and reads others, says so in its log, and has threads that wait: for
/// changes of the store, for the next run at night, for the time of the health check, for others to
/// be ready. Nothing is done with what is found. All throw std::runtime_error; a failure of its own
/// threads ends the process.
class PhoneStart {
public:
    struct Places {
        std::string lock;          ///< of the machine, as all are
        std::string configuration; ///< JSON
        std::string directory;     ///< the files of runs lie in it
    };

    /// Before there is a store.
    explicit PhoneStart(const Places& places);
    ~PhoneStart();
    PhoneStart(const PhoneStart&) = delete;
    PhoneStart& operator=(const PhoneStart&) = delete;

    /// With the store. database: its file.
    void go(StepsStore& store, const std::string& database);

private:
    void watch(const std::string& database);
    void waitForEnd();

    const std::string directory_;
    std::mutex mutex_; ///< guards the next one
    bool isEnding_ = false;
    std::condition_variable changed_;
    std::vector<std::thread> threads_;
    int lock_ = -1;
};
