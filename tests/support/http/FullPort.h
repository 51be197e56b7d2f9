// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

/// A listening socket whose queue is full: a client that connects waits for ever.
class FullPort {
public:
    FullPort();
    ~FullPort();
    FullPort(const FullPort&) = delete;
    FullPort& operator=(const FullPort&) = delete;

    std::uint16_t port() const { return port_; }

private:
    std::uint16_t port_ = 0;
    int listener_ = -1;
    std::vector<int> waiting_;
};
