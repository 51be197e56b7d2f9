// SPDX-License-Identifier: Apache-2.0
#include "RequestQueue.h"

#include "ForeignText.h"
#include "Payload.h"
#include "Topic.h"
#include "logger/Logger.h"

#include <exception>
#include <stdexcept>
#include <utility>

namespace ipc {

namespace {

std::size_t sizeOf(const IncomingMessage& message) {
    const auto size = [](const std::optional<std::string>& text) {
        return text ? text->size() : 0;
    };
    return message.topic.size() + message.payload.size() + size(message.responseTopic) +
           size(message.correlationData);
}

IpcMsgParams errorParams(const std::string& text) {
    IpcMsgParams params;
    params.add("error", text);
    return params;
}

std::optional<IPCMessage> decodeLogged(const IncomingMessage& message) {
    try {
        return decode(message.payload);
    } catch (const std::exception& exception) {
        LOG(2) << "Bus message on " << foreignText(message.topic)
               << " dropped: " << exception.what();
        return std::nullopt;
    }
}

} // namespace

RequestQueue::RequestQueue(const std::shared_ptr<IMessageThreadStrategy>& messageThread,
                           std::shared_ptr<Outbox> outbox, Limits limits)
    : messageThread_(messageThread), outbox_(std::move(outbox)), limits_(limits) {}

void RequestQueue::activate(HandlersMap handlers, ProceduresMap procedures) {
    auto tables =
        std::make_shared<const Tables>(Tables{std::move(handlers), std::move(procedures)});
    std::size_t waiting = 0;
    {
        const auto state = state_.lock();
        if (state->isActivated)
            throw std::logic_error("The request table of the bus client is active already");
        state->isActivated = true;
        if (state->isStopped)
            return;
        state->tables = std::move(tables);
        waiting = state->messages.size();
    }
    while (waiting-- > 0)
        postServing();
}

void RequestQueue::arrived(IncomingMessage message) {
    if (const auto refused = append(std::move(message))) {
        LOG(2) << "Bus message on " << foreignText(refused->topic)
               << " dropped: too many wait for the message thread";
        return;
    }
    postServing();
}

/// The message when there is no room for it. After stop() it is dropped.
std::optional<IncomingMessage> RequestQueue::append(IncomingMessage message) {
    const std::size_t size = sizeOf(message);
    const auto state = state_.lock();
    if (state->isStopped)
        return std::nullopt;
    if (state->messages.size() >= limits_.messages || state->bytes + size > limits_.bytes)
        return message;
    state->bytes += size;
    state->messages.push_back(std::move(message));
    return std::nullopt;
}

/// Each task serves the oldest message at the time when it runs, so that the order of the messages
/// does not depend on that of the tasks. A task that finds nothing to serve does nothing.
void RequestQueue::postServing() {
    if (const auto messageThread = messageThread_.lock())
        messageThread->post([self = shared_from_this()] { self->serveNext(); });
}

void RequestQueue::stop() {
    std::deque<IncomingMessage> dropped;
    std::shared_ptr<const Tables> tables;
    {
        const auto state = state_.lock();
        state->isStopped = true;
        dropped.swap(state->messages);
        tables.swap(state->tables);
    }
    if (!dropped.empty()) {
        LOG(2) << "The bus is no longer served, " << dropped.size() << " request(s) dropped";
    }
    state_.lock().wait(finished_, [](const State& value) {
        return !value.serving || value.serving == std::this_thread::get_id();
    });
}

void RequestQueue::serveNext() {
    if (const std::optional<Work> work = begin()) {
        serve(*work);
        finish();
    }
}

std::optional<RequestQueue::Work> RequestQueue::begin() {
    const auto state = state_.lock();
    if (!state->tables || state->messages.empty())
        return std::nullopt;
    Work work{std::move(state->messages.front()), state->tables};
    state->messages.pop_front();
    state->bytes -= sizeOf(work.message);
    state->serving = std::this_thread::get_id();
    return work;
}

void RequestQueue::finish() {
    state_.lock()->serving.reset();
    finished_.notify_all();
}

void RequestQueue::serve(const Work& work) const {
    const std::optional<IPCMessage> request = decodeLogged(work.message);
    if (!request)
        return;
    std::optional<IpcMsgParams> params;
    try {
        params = run(*work.tables, *request);
    } catch (const std::exception& exception) {
        LOG(3) << "Bus message " << foreignText(request->name) << " failed: " << exception.what();
        params = errorParams(exception.what());
    } catch (...) {
        LOG(3) << "Bus message " << foreignText(request->name) << " failed: unknown exception";
        params = errorParams("unknown exception");
    }
    if (!params) {
        LOG(2) << "Bus message " << foreignText(request->name) << " on "
               << foreignText(work.message.topic) << " is unknown";
        params = errorParams("unknown request [" + request->name + "]");
    }
    if (request->flag)
        answer(work.message, *request, std::move(*params));
}

/// The parameters of the answer; none when no table has a message of that name.
std::optional<IpcMsgParams> RequestQueue::run(const Tables& tables,
                                              const IPCMessage& request) const {
    if (const auto handler = tables.handlers.find(request.name); handler != tables.handlers.end())
        return handler->second(request.params);
    const auto procedure = tables.procedures.find(request.name);
    if (procedure == tables.procedures.end())
        return std::nullopt;
    procedure->second(request.params);
    return IpcMsgParams();
}

void RequestQueue::answer(const IncomingMessage& message, const IPCMessage& request,
                          IpcMsgParams params) const {
    const std::optional<std::string> topic =
        message.responseTopic ? message.responseTopic : mirrored(message.topic);
    if (!topic) {
        LOG(2) << "Bus message " << foreignText(request.name) << " on "
               << foreignText(message.topic) << " is not answered: it names no sender";
        return;
    }
    const std::string name = request.name + "Response";
    std::string payload = encode(IPCMessage(name, std::move(params)));
    if (payload.size() > LARGEST_PAYLOAD)
        payload = encode(IPCMessage(name, errorParams("the answer is too large")));
    outbox_->push({name, *topic, std::move(payload), message.correlationData});
}

} // namespace ipc
