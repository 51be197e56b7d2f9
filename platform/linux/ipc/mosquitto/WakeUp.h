#ifndef IPC_WAKEUP_H
#define IPC_WAKEUP_H

namespace ipc {

/// Wakes a thread that waits in poll(): its descriptor is readable from signal() until clear().
/// Any thread.
class WakeUp {
public:
    WakeUp();
    ~WakeUp();
    WakeUp(const WakeUp&) = delete;
    WakeUp& operator=(const WakeUp&) = delete;

    int descriptor() const { return descriptor_; }
    void signal() noexcept;
    void clear() noexcept;

private:
    int descriptor_;
};

} // namespace ipc

#endif
