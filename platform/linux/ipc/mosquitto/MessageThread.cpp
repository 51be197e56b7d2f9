// SPDX-License-Identifier: Apache-2.0
#include "MessageThread.h"

#include "logger/Logger.h"

#include <pthread.h>

#include <exception>
#include <stdexcept>
#include <utility>

namespace ipc {

namespace {

/// The message thread that the calling thread is; the system gives a thread's id to another one
/// after its end, so ids do not tell.
thread_local const MessageThread* runningOn = nullptr;

void runLogged(const std::function<void()>& task) {
    try {
        task();
    } catch (const std::exception& exception) {
        LOG(3) << "Task on the message thread failed: " << exception.what();
    } catch (...) {
        LOG(3) << "Task on the message thread failed with an unknown exception";
    }
}

} // namespace

MessageThread::MessageThread() : thread_([this] { run(); }) {}

MessageThread::~MessageThread() {
    stop();
}

void MessageThread::post(std::function<void()> task) {
    {
        const std::lock_guard lock(mutex_);
        if (isStopping_)
            return;
        tasks_.push_back(std::move(task));
    }
    posted_.notify_one();
}

void MessageThread::stop() {
    if (runningOn == this)
        throw std::logic_error("The message thread cannot stop itself");
    std::call_once(ended_, [this] { end(); });
}

void MessageThread::end() {
    std::deque<std::function<void()>> dropped;
    {
        const std::lock_guard lock(mutex_);
        isStopping_ = true;
        dropped.swap(tasks_);
    }
    posted_.notify_one();
    if (!dropped.empty()) {
        LOG(2) << "Message thread stops, " << dropped.size() << " waiting task(s) dropped";
    }
    thread_.join();
}

void MessageThread::run() {
    ::pthread_setname_np(::pthread_self(), "message");
    runningOn = this;
    while (const std::optional<std::function<void()>> task = next())
        runLogged(*task);
}

/// Waits for a task; none when the thread is to end.
std::optional<std::function<void()>> MessageThread::next() {
    std::unique_lock lock(mutex_);
    posted_.wait(lock, [this] { return isStopping_ || !tasks_.empty(); });
    if (isStopping_)
        return std::nullopt;
    std::function<void()> task = std::move(tasks_.front());
    tasks_.pop_front();
    return task;
}

} // namespace ipc
