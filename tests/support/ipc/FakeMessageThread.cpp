// SPDX-License-Identifier: Apache-2.0
#include "FakeMessageThread.h"

#include "logger/Logger.h"

#include <chrono>
#include <exception>
#include <utility>

void FakeMessageThread::post(std::function<void()> task) {
    {
        const std::lock_guard lock(mutex_);
        if (isStopped_)
            return;
        tasks_.push_back(std::move(task));
    }
    posted_.notify_all();
}

bool FakeMessageThread::runOne() {
    std::function<void()> task;
    {
        const std::lock_guard lock(mutex_);
        if (tasks_.empty())
            return false;
        task = std::move(tasks_.front());
        tasks_.pop_front();
    }
    try {
        task();
    } catch (const std::exception& exception) {
        LOG(3) << "Task on the message thread failed: " << exception.what();
    } catch (...) {
        LOG(3) << "Task on the message thread failed with an unknown exception";
    }
    return true;
}

std::size_t FakeMessageThread::runAll() {
    std::size_t count = 0;
    while (runOne())
        ++count;
    return count;
}

bool FakeMessageThread::waitForTasks(std::size_t count) const {
    std::unique_lock lock(mutex_);
    return posted_.wait_for(lock, std::chrono::seconds(20), [&] { return tasks_.size() >= count; });
}

std::size_t FakeMessageThread::waiting() const {
    const std::lock_guard lock(mutex_);
    return tasks_.size();
}

void FakeMessageThread::stop() {
    std::deque<std::function<void()>> dropped;
    const std::lock_guard lock(mutex_);
    isStopped_ = true;
    dropped.swap(tasks_);
}
