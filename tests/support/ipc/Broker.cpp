// SPDX-License-Identifier: Apache-2.0
#include "Broker.h"

#include "support/process/FreePort.h"
#include "support/process/WaitUntil.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace {

bool takesConnections(const std::string& socketPath) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof address.sun_path)
        throw std::runtime_error("path too long for a socket: " + socketPath);
    std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size() + 1);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool connected =
        ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(socket);
    return connected;
}

} // namespace

Broker::Broker() : Broker(Options()) {}

Broker::Broker(const Options& options)
    : socketPath_(options.socketPath.empty() ? directory_.path() + "/bus.sock" : options.socketPath)
    , port_(options.tcp ? freePort() : std::uint16_t{0}) {
    std::filesystem::create_directories(std::filesystem::path(socketPath_).parent_path());
    std::string lines;
    if (options.tcp)
        lines += "listener " + std::to_string(port_) + " 127.0.0.1\n";
    // Listened at in this order: who connects to the socket finds the port open.
    lines += "listener 0 " + socketPath_ +
             "\n"
             "allow_anonymous true\n"
             "log_dest file " +
             logFile() +
             "\n"
             "persistence true\n"
             "persistence_location " +
             directory_.path() + "/\n" + "max_queued_messages 0\n";
    // Started as root it would become a user who has no access to the directory.
    if (::geteuid() == 0)
        lines += "user root\n";
    writeHostFile(configurationFile(), lines + options.configuration + "\n");
    if (options.started)
        start();
}

Broker::~Broker() {
    // A frozen process would not hear SIGTERM.
    resume();
}

void Broker::start() {
    process_.emplace(std::vector<std::string>{"mosquitto", "-c", configurationFile()},
                     directory_.path() + "/output");
    if (!waitUntil([this] { return isServing(); }))
        throw std::runtime_error("mosquitto does not serve: " + log());
}

bool Broker::isServing() {
    if (!process_->isRunning())
        throw std::runtime_error("mosquitto ended: " + log());
    return takesConnections(socketPath_);
}

void Broker::stop() {
    if (process_)
        process_->terminate();
    process_.reset();
}

void Broker::save() {
    const std::string store = directory_.path() + "/mosquitto.db";
    std::filesystem::remove(store);
    process_->signal(SIGUSR1);
    if (!waitUntil([&store] { return std::filesystem::exists(store); }))
        throw std::runtime_error("mosquitto does not save: " + log());
}

void Broker::kill() {
    if (!process_)
        return;
    process_->signal(SIGKILL);
    process_->wait();
    process_.reset();
}

void Broker::freeze() {
    if (process_)
        process_->signal(SIGSTOP);
}

void Broker::resume() {
    if (process_)
        process_->signal(SIGCONT);
}

std::string Broker::log() const {
    return readHostFile(directory_.path() + "/output") + readHostFile(logFile());
}

std::string Broker::logFile() const {
    return directory_.path() + "/log";
}

std::string Broker::configurationFile() const {
    return directory_.path() + "/mosquitto.conf";
}
