// SPDX-License-Identifier: Apache-2.0
#include "MessageThread.h"

#include "logger/Logger.h"

#include <pthread.h>

#include <exception>
#include <stdexcept>
#include <utility>

namespace ipc {

namespace {

/// The message thread that the calling thread is. Thread ids cannot tell: the system uses them
/// again after a thread's end.
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
        const auto queue = queue_.lock();
        if (queue->isStopped)
            return;
        queue->tasks.push_back(std::move(task));
    }
    changed_.notify_one();
}

void MessageThread::stop() {
    if (runningOn == this)
        throw std::logic_error("The message thread cannot stop itself");
    std::call_once(ended_, [this] { end(); });
}

void MessageThread::end() {
    std::deque<Task> dropped;
    {
        const auto queue = queue_.lock();
        queue->isStopped = true;
        dropped.swap(queue->tasks);
    }
    changed_.notify_one();
    if (!dropped.empty()) {
        LOG(2) << "Message thread stops, " << dropped.size() << " waiting task(s) dropped";
    }
    thread_.join();
}

void MessageThread::run() {
    ::pthread_setname_np(::pthread_self(), "message");
    runningOn = this;
    while (const std::optional<Task> task = next())
        runLogged(*task);
}

/// Waits for a task; none when the thread is to end.
std::optional<MessageThread::Task> MessageThread::next() {
    auto queue = queue_.lock();
    queue.wait(changed_,
               [](const Queue& value) { return value.isStopped || !value.tasks.empty(); });
    if (queue->isStopped)
        return std::nullopt;
    Task task = std::move(queue->tasks.front());
    queue->tasks.pop_front();
    return task;
}

} // namespace ipc
