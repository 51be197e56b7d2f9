#ifndef COMMITWATCH_H
#define COMMITWATCH_H

#include <chrono>
#include <string>

namespace propertyapi {

/// Tells a thread that somebody may have committed something: this process says so, and for others
/// the kernel tells that the write-ahead log was written to, made or removed.
class CommitWatch {
public:
    enum class Cause { TIME, LOG_WRITTEN, WOKEN };

    /// log: path of the log on this machine; it need not exist. Throws std::runtime_error.
    explicit CommitWatch(const std::string& log);
    ~CommitWatch();
    CommitWatch(const CommitWatch&) = delete;
    CommitWatch& operator=(const CommitWatch&) = delete;

    /// Ends the wait that is in progress or the next one. From every thread.
    void wake() noexcept;
    /// Waits for a cause, until the time given. From one thread.
    Cause wait(std::chrono::steady_clock::time_point until) noexcept;

private:
    /// Watches the file that has the log's name now.
    void followLog() noexcept;
    bool takeEvents() noexcept;
    bool takeWake() noexcept;

    const std::string log_;
    const std::string name_;
    int events_ = -1;
    int wake_ = -1;
    int directoryWatch_ = -1;
    int logWatch_ = -1;
};

} // namespace propertyapi

#endif
