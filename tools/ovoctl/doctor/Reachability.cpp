// SPDX-License-Identifier: Apache-2.0
#include "Reachability.h"

#include "posix/Descriptor.h"

#include <netdb.h>
#include <poll.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <future>
#include <memory>
#include <thread>
#include <utility>

namespace ovoctl {

namespace {

struct FreeList {
    void operator()(addrinfo* list) const { ::freeaddrinfo(list); }
};

NameLookup ask(const std::string& host, std::uint16_t port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int code = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    const std::unique_ptr<addrinfo, FreeList> list(found);
    if (code != 0)
        return {{}, code == EAI_SYSTEM ? std::strerror(errno) : ::gai_strerror(code)};
    NameLookup result;
    for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
        SocketAddress address;
        address.size = entry->ai_addrlen;
        std::memcpy(&address.address, entry->ai_addr, entry->ai_addrlen);
        result.addresses.push_back(address);
    }
    return result;
}

} // namespace

std::string SocketAddress::text() const {
    std::array<char, NI_MAXHOST> host{};
    if (::getnameinfo(reinterpret_cast<const sockaddr*>(&address), size, host.data(), host.size(),
                      nullptr, 0, NI_NUMERICHOST) != 0)
        return "?";
    return host.data();
}

NameLookup lookUp(const std::string& host, std::uint16_t port, std::chrono::milliseconds longest) {
    // The library cannot be told to give up: its thread is left behind then.
    std::packaged_task<NameLookup()> task([host, port] { return ask(host, port); });
    std::future<NameLookup> answer = task.get_future();
    std::thread(std::move(task)).detach();
    if (answer.wait_for(longest) != std::future_status::ready)
        return {{}, "the name service does not answer in time"};
    return answer.get();
}

std::string whyUnreachable(const SocketAddress& address, std::chrono::milliseconds longest) {
    const posix::Descriptor socket(
        ::socket(address.address.ss_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!socket.isOpen())
        return std::strerror(errno);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address.address),
                  address.size) == 0)
        return {};
    if (errno != EINPROGRESS)
        return std::strerror(errno);
    pollfd ready{socket.get(), POLLOUT, 0};
    if (::poll(&ready, 1, static_cast<int>(longest.count())) <= 0)
        return "no answer in time";
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &size);
    return error == 0 ? std::string() : std::strerror(error);
}

} // namespace ovoctl
