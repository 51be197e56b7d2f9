// SPDX-License-Identifier: Apache-2.0
#include "FakeIpcClient.h"

#include "logger/Logger.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

namespace {

using ipc::IPCMessage;
using ipc::IpcMsgParams;

struct Tables {
    ipc::HandlersMap handlers;
    ipc::ProceduresMap procedures;
};

std::string mirrored(const std::string& topic) {
    const auto slash = topic.find('/');
    return topic.substr(slash + 1) + "/" + topic.substr(0, slash);
}

IpcMsgParams errorParams(const std::string& text) {
    IpcMsgParams params;
    params.add("error", text);
    return params;
}

/// Runs the handler or the procedure; none when nobody serves a message of that name.
std::optional<IpcMsgParams> run(const Tables& tables, const IPCMessage& request) {
    if (const auto handler = tables.handlers.find(request.name); handler != tables.handlers.end())
        return handler->second(request.params);
    const auto procedure = tables.procedures.find(request.name);
    if (procedure == tables.procedures.end())
        return std::nullopt;
    procedure->second(request.params);
    return IpcMsgParams();
}

/// The parameters of the answer.
IpcMsgParams serve(const Tables& tables, const std::string& topic, const IPCMessage& request) {
    try {
        if (const std::optional<IpcMsgParams> params = run(tables, request))
            return *params;
    } catch (const std::exception& exception) {
        LOG(3) << "Bus message \"" << request.name << "\" failed: " << exception.what();
        return errorParams(exception.what());
    }
    LOG(2) << "Bus message \"" << request.name << "\" on \"" << topic << "\" is unknown";
    return errorParams("unknown request [" + request.name + "]");
}

} // namespace

struct FakeIpcClient::State {
    void publish(const std::string& destination, const IPCMessage& message);
    void serveNext();
    std::size_t countOf(const std::string& destination, const std::string& name) const;

    std::mutex mutex;
    std::condition_variable changed;
    bool isConnected = true;
    bool isStopped = false;
    bool isServing = true;
    std::shared_ptr<const Tables> tables;
    std::deque<Published> requests;
    std::optional<std::thread::id> serving;
    std::vector<Published> published;
};

void FakeIpcClient::State::publish(const std::string& destination, const IPCMessage& message) {
    {
        const std::lock_guard lock(mutex);
        published.push_back({destination, message});
    }
    changed.notify_all();
}

void FakeIpcClient::State::serveNext() {
    std::shared_ptr<const Tables> current;
    std::optional<Published> request;
    {
        const std::lock_guard lock(mutex);
        if (!isServing || requests.empty())
            return;
        current = tables;
        request = std::move(requests.front());
        requests.pop_front();
        serving = std::this_thread::get_id();
    }
    const IPCMessage& message = request->message;
    const IpcMsgParams params = serve(*current, request->destination, message);
    if (message.flag)
        publish(mirrored(request->destination), IPCMessage(message.name + "Response", params));
    {
        const std::lock_guard lock(mutex);
        serving.reset();
    }
    changed.notify_all();
}

std::size_t FakeIpcClient::State::countOf(const std::string& destination,
                                          const std::string& name) const {
    return static_cast<std::size_t>(
        std::count_if(published.begin(), published.end(), [&](const Published& entry) {
            return entry.destination == destination && entry.message.name == name;
        }));
}

FakeIpcClient::FakeIpcClient(std::shared_ptr<ipc::IMessageThreadStrategy> messageThread)
    : messageThread_(std::move(messageThread)), state_(std::make_shared<State>()) {}

FakeIpcClient::~FakeIpcClient() {
    close();
}

bool FakeIpcClient::isConnected() const {
    const std::lock_guard lock(state_->mutex);
    return state_->isConnected && !state_->isStopped;
}

void FakeIpcClient::publish(const std::string& destination, const IPCMessage& message) {
    if (!isStopped())
        state_->publish(destination, message);
}

void FakeIpcClient::activate(ipc::HandlersMap handlers, ipc::ProceduresMap procedures) {
    std::size_t waiting = 0;
    {
        const std::lock_guard lock(state_->mutex);
        if (state_->tables)
            throw std::logic_error("activated twice");
        state_->tables =
            std::make_shared<const Tables>(Tables{std::move(handlers), std::move(procedures)});
        waiting = state_->requests.size();
    }
    while (waiting-- > 0)
        serveLater();
}

void FakeIpcClient::close() {
    {
        const std::lock_guard lock(state_->mutex);
        state_->isStopped = true;
    }
    stop();
}

void FakeIpcClient::stop() {
    std::size_t dropped = 0;
    {
        const std::lock_guard lock(state_->mutex);
        state_->isServing = false;
        dropped = state_->requests.size();
        state_->requests.clear();
    }
    if (dropped > 0) {
        LOG(2) << "The bus is no longer served, " << dropped << " request(s) dropped";
    }
    std::unique_lock lock(state_->mutex);
    state_->changed.wait(
        lock, [this] { return !state_->serving || state_->serving == std::this_thread::get_id(); });
}

void FakeIpcClient::setConnected(bool isConnected) {
    const std::lock_guard lock(state_->mutex);
    state_->isConnected = isConnected;
}

void FakeIpcClient::receive(const std::string& topic, const IPCMessage& message) {
    {
        const std::lock_guard lock(state_->mutex);
        if (!state_->isServing)
            return;
        state_->requests.push_back({topic, message});
        if (!state_->tables)
            return;
    }
    serveLater();
}

void FakeIpcClient::serveLater() {
    if (messageThread_)
        messageThread_->post([state = state_] { state->serveNext(); });
    else
        state_->serveNext();
}

std::optional<IPCMessage> FakeIpcClient::request(const std::string& name,
                                                 const IpcMsgParams& params,
                                                 const std::string& topic) {
    const std::string answer = name + "Response";
    const std::size_t before = published(mirrored(topic), answer).size();
    receive(topic, IPCMessage(name, params, true));
    if (!waitForPublished(mirrored(topic), answer, before + 1))
        return std::nullopt;
    return published(mirrored(topic), answer).at(before);
}

std::vector<FakeIpcClient::Published> FakeIpcClient::published() const {
    const std::lock_guard lock(state_->mutex);
    return state_->published;
}

std::vector<IPCMessage> FakeIpcClient::published(const std::string& destination,
                                                 const std::string& name) const {
    std::vector<IPCMessage> result;
    for (const Published& entry : published()) {
        if (entry.destination == destination && entry.message.name == name)
            result.push_back(entry.message);
    }
    return result;
}

bool FakeIpcClient::waitForPublished(const std::string& destination, const std::string& name,
                                     std::size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock lock(state_->mutex);
    return state_->changed.wait_for(lock, timeout,
                                    [&] { return state_->countOf(destination, name) >= count; });
}

void FakeIpcClient::clear() {
    const std::lock_guard lock(state_->mutex);
    state_->published.clear();
}

bool FakeIpcClient::isActive() const {
    const std::lock_guard lock(state_->mutex);
    return state_->tables != nullptr;
}

bool FakeIpcClient::isStopped() const {
    const std::lock_guard lock(state_->mutex);
    return state_->isStopped;
}
