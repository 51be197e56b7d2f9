#include "FakeIpcClient.h"

#include "logger/Logger.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

namespace {

std::string mirrored(const std::string& topic) {
    const auto slash = topic.find('/');
    return topic.substr(slash + 1) + "/" + topic.substr(0, slash);
}

ipc::IpcMsgParams errorParams(const std::string& text) {
    ipc::IpcMsgParams params;
    params.add("error", text);
    return params;
}

} // namespace

FakeIpcClient::FakeIpcClient(std::shared_ptr<ipc::IMessageThreadStrategy> messageThread)
    : messageThread_(std::move(messageThread)) {}

bool FakeIpcClient::isConnected() const {
    const std::lock_guard lock(mutex_);
    return isConnected_ && !isStopped_;
}

void FakeIpcClient::publish(const std::string& destination, const ipc::IPCMessage& message) {
    {
        const std::lock_guard lock(mutex_);
        if (isStopped_)
            return;
        published_.push_back({destination, message});
    }
    changed_.notify_all();
}

void FakeIpcClient::activate(ipc::HandlersMap handlers, ipc::ProceduresMap procedures) {
    std::size_t waiting = 0;
    {
        const std::lock_guard lock(mutex_);
        if (tables_)
            throw std::logic_error("activated twice");
        tables_ =
            std::make_shared<const Tables>(Tables{std::move(handlers), std::move(procedures)});
        waiting = requests_.size();
    }
    while (waiting-- > 0)
        serveLater();
}

void FakeIpcClient::stop() {
    std::unique_lock lock(mutex_);
    isStopped_ = true;
    requests_.clear();
    changed_.wait(lock, [this] { return !serving_ || serving_ == std::this_thread::get_id(); });
}

void FakeIpcClient::setConnected(bool isConnected) {
    const std::lock_guard lock(mutex_);
    isConnected_ = isConnected;
}

void FakeIpcClient::receive(const std::string& topic, const ipc::IPCMessage& message) {
    {
        const std::lock_guard lock(mutex_);
        if (isStopped_)
            return;
        requests_.push_back({topic, message});
        if (!tables_)
            return;
    }
    serveLater();
}

std::optional<ipc::IPCMessage> FakeIpcClient::request(const std::string& name,
                                                      const ipc::IpcMsgParams& params,
                                                      const std::string& topic) {
    const std::string answer = name + "Response";
    const std::size_t before = published(mirrored(topic), answer).size();
    receive(topic, ipc::IPCMessage(name, params, true));
    if (!waitForPublished(mirrored(topic), answer, before + 1))
        return std::nullopt;
    return published(mirrored(topic), answer).at(before);
}

std::vector<FakeIpcClient::Published> FakeIpcClient::published() const {
    const std::lock_guard lock(mutex_);
    return published_;
}

std::vector<ipc::IPCMessage> FakeIpcClient::published(const std::string& destination,
                                                      const std::string& name) const {
    std::vector<ipc::IPCMessage> result;
    for (const Published& entry : published()) {
        if (entry.destination == destination && entry.message.name == name)
            result.push_back(entry.message);
    }
    return result;
}

bool FakeIpcClient::waitForPublished(const std::string& destination, const std::string& name,
                                     std::size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return countOf(destination, name) >= count; });
}

void FakeIpcClient::clear() {
    const std::lock_guard lock(mutex_);
    published_.clear();
}

bool FakeIpcClient::isActive() const {
    const std::lock_guard lock(mutex_);
    return tables_ != nullptr;
}

bool FakeIpcClient::isStopped() const {
    const std::lock_guard lock(mutex_);
    return isStopped_;
}

std::size_t FakeIpcClient::countOf(const std::string& destination, const std::string& name) const {
    return static_cast<std::size_t>(
        std::count_if(published_.begin(), published_.end(), [&](const Published& entry) {
            return entry.destination == destination && entry.message.name == name;
        }));
}

void FakeIpcClient::serveLater() {
    if (messageThread_)
        messageThread_->post([this] { serveNext(); });
    else
        serveNext();
}

void FakeIpcClient::serveNext() {
    std::shared_ptr<const Tables> tables;
    std::optional<Published> request;
    {
        const std::lock_guard lock(mutex_);
        if (isStopped_ || requests_.empty())
            return;
        tables = tables_;
        request = std::move(requests_.front());
        requests_.pop_front();
        serving_ = std::this_thread::get_id();
    }
    serve(*tables, *request);
    {
        const std::lock_guard lock(mutex_);
        serving_.reset();
    }
    changed_.notify_all();
}

void FakeIpcClient::serve(const Tables& tables, const Published& request) {
    const std::string& name = request.message.name;
    ipc::IpcMsgParams params;
    try {
        if (const auto handler = tables.handlers.find(name); handler != tables.handlers.end()) {
            params = handler->second(request.message.params);
        } else if (const auto procedure = tables.procedures.find(name);
                   procedure != tables.procedures.end()) {
            procedure->second(request.message.params);
        } else {
            LOG(2) << "Bus message \"" << name << "\" on \"" << request.destination
                   << "\" is unknown";
            params = errorParams("unknown request [" + name + "]");
        }
    } catch (const std::exception& exception) {
        LOG(3) << "Bus message \"" << name << "\" failed: " << exception.what();
        params = errorParams(exception.what());
    }
    if (request.message.flag)
        publish(mirrored(request.destination), ipc::IPCMessage(name + "Response", params, false));
}
