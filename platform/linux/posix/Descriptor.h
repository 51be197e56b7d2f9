// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <utility>

namespace posix {

/// Owner of a file descriptor, or of none.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : number_(number) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        reset(other.release());
        return *this;
    }

    int get() const { return number_; }
    bool isOpen() const { return number_ >= 0; }
    void reset(int number) {
        close();
        number_ = number;
    }
    /// The number, which the caller owns from now on.
    int release() { return std::exchange(number_, -1); }
    /// 0, or -1 with errno: what was written before may be lost. The descriptor is gone in any
    /// case.
    int close() { return number_ < 0 ? 0 : ::close(release()); }

private:
    int number_ = -1;
};

} // namespace posix
