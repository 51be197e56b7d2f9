// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "HttpClient.h"
#include "PhoneStart.h"
#include "StepsBus.h"
#include "StepsStore.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

/// Runs as RawRun does, with the steps besides that every daemon of such a phone has to take, in
/// its order: a bus thread, a message thread and one for each run; requests and progress as JSON;
/// lines of a log; the state of the run in the store, and in the end a report; the file in a
/// directory, first as it came and then decrypted. No checks and no rules. A request is
/// {"parameters": {"location": URL}}; one without parameters is answered at once.
class RequiredSteps {
public:
    struct Places {
        std::string busSocket;
        std::string password;
        std::string database;      ///< see StepsStore
        std::string caBundle;      ///< of the machine
        std::string directory;     ///< of the machine: for the file, no regular file else stays
        std::string lock;          ///< see PhoneStart
        std::string configuration; ///< see PhoneStart
    };

    /// Serves from now on. Throws std::runtime_error.
    explicit RequiredSteps(const Places& places);
    /// Returns when the current run has ended.
    ~RequiredSteps();
    RequiredSteps(const RequiredSteps&) = delete;
    RequiredSteps& operator=(const RequiredSteps&) = delete;

private:
    void take(std::string request);
    void serve();
    void start(const std::string& url);
    void run(std::string url);
    void apply(std::string url);
    void removeFiles() const;
    void finish(const std::string& url, const std::string& started, const std::string& result);

    const std::string password_;
    const std::string directory_;
    std::mutex mutex_; ///< guards the next two
    std::deque<std::string> requests_;
    bool isEnding_ = false;
    std::condition_variable changed_;
    PhoneStart phone_;
    int number_ = 0; ///< of the run's thread, as are the next two
    StepsStore store_;
    HttpClient http_;
    StepsBus bus_;
    std::thread runThread_;     ///< of the message thread, until that has ended
    std::thread messageThread_; ///< last: it uses all the others
};
