// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

/// One end of a connection, in the hands of one thread.
class Wire {
public:
    virtual ~Wire() = default;
    /// False when the peer has gone.
    virtual bool send(const std::string& bytes) = 0;
    /// What comes next; empty when the peer has gone.
    virtual std::string receive() = 0;
    /// True when receive() gives something without waiting for the socket.
    virtual bool hasMore() const = 0;
    virtual int socket() const = 0;

    /// Reads on until the text holds this end, whatever comes with it; empty when the peer goes
    /// before, or sends more than 1 MiB.
    std::string receiveUntil(const std::string& end, std::string text = {});
    /// From now on the end of the connection is a reset, with nothing said before.
    void endByReset() const;
    /// Waits; false as soon as the peer has gone.
    bool pause(std::chrono::milliseconds time) const;
};

/// Over a socket that somebody else closes.
class SocketWire : public Wire {
public:
    explicit SocketWire(int socket) : socket_(socket) {}

    bool send(const std::string& bytes) override;
    std::string receive() override;
    bool hasMore() const override { return false; }
    int socket() const override { return socket_; }

private:
    int socket_;
};

/// A connection to a port of the loopback interface; the socket is negative when there is none.
class ClientWire : public SocketWire {
public:
    explicit ClientWire(std::uint16_t port);
    ~ClientWire() override;
    ClientWire(const ClientWire&) = delete;
    ClientWire& operator=(const ClientWire&) = delete;
};

/// Passes on in both directions until one of them has gone.
void relay(Wire& one, Wire& other);
