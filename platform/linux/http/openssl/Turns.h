#ifndef HTTP_OPENSSL_TURNS_H
#define HTTP_OPENSSL_TURNS_H

#include <condition_variable>
#include <mutex>

namespace http {

/// Lets threads do something that takes its time one after another. No lock is held meanwhile.
class Turns {
public:
    /// A thread's turn: waits for it, and ends it with the scope.
    class Turn {
    public:
        explicit Turn(Turns& turns);
        ~Turn();
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

    private:
        Turns& turns_;
    };

private:
    std::mutex mutex_;
    std::condition_variable ended_;
    bool taken_ = false;
};

} // namespace http

#endif
