// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <poll.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace bench {

/// A web server that notes when the first byte of a request arrives. It gives the same file to all
/// and keeps connections open.
class RequestClock {
public:
    using Time = std::chrono::steady_clock::time_point;

    explicit RequestClock(const std::string& file);
    ~RequestClock();
    RequestClock(const RequestClock&) = delete;
    RequestClock& operator=(const RequestClock&) = delete;

    std::string url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/file.xml"; }
    /// When the last request came.
    Time last() const { return Time(Time::duration(last_.load())); }

private:
    void serve();
    /// sockets: the listening one, and the connections with what happened on each.
    void serveConnections(const std::vector<pollfd>& sockets);
    void takeConnection();
    /// False when the client has gone.
    bool answer(int connection);

    std::string response_;
    int listener_;
    std::uint16_t port_ = 0;
    std::atomic<Time::rep> last_{0};
    std::vector<int> connections_;
    std::thread thread_;
};

} // namespace bench
