// SPDX-License-Identifier: Apache-2.0
#include "BusCommand.h"

#include "Bus.h"
#include "BusMessages.h"
#include "ipc/mosquitto/Payload.h"
#include "ipc/mosquitto/Topic.h"
#include "ovoctl/Failure.h"
#include "ovoctl/support/Endless.h"
#include "ovoctl/support/Words.h"
#include "text/Quote.h"

#include <chrono>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace ovoctl {

namespace {

constexpr double USUAL_SECONDS = 5;
constexpr double LONGEST_SECONDS = 1e6;

struct Options {
    std::string topic;
    std::string filter = "#";
    std::string name;
    std::vector<std::string> parameters;
    double seconds = USUAL_SECONDS;
    bool isJson = false;
};

Bus::Clock::time_point deadlineOf(const Options& options) {
    return Bus::Clock::now() +
           std::chrono::milliseconds(
               static_cast<std::chrono::milliseconds::rep>(options.seconds * 1000));
}

/// The topic that an answer would have.
std::string answerTopicOf(const std::string& topic) {
    if (!ipc::isPublishTopic(topic))
        throw Misuse("the topic " + quote(topic) + " is malformed");
    const std::optional<std::string> mirrored = ipc::mirrored(topic);
    if (!mirrored || topic.starts_with('/') || topic.ends_with('/'))
        throw Misuse("the topic " + quote(topic) + " is not SENDER/RECEIVER");
    return *mirrored;
}

/// What is not a number is in no range for the library, either side.
std::string whyNoTimeout(const std::string& text) {
    double seconds = 0;
    if (CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= LONGEST_SECONDS)
        return {};
    return quote(text) + " is not a number of seconds from 0 to 1000000";
}

void send(const Options& options) {
    answerTopicOf(options.topic);
    const ipc::IPCMessage message = messageOf(options.name, options.parameters, false);
    const Bus::Clock::time_point deadline = deadlineOf(options);
    Bus({}, deadline).send(options.topic, message, deadline);
    if (options.isJson)
        std::cout << lineOf({options.topic, ipc::encode(message), {}, {}}, true);
}

std::optional<ipc::IPCMessage> decoded(const ipc::IncomingMessage& message) {
    try {
        return ipc::decode(message.payload);
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

Outcome request(const Options& options) {
    const std::string answerTopic = answerTopicOf(options.topic);
    const ipc::IPCMessage message = messageOf(options.name, options.parameters, true);
    const Bus::Clock::time_point deadline = deadlineOf(options);
    Bus bus({answerTopic}, deadline);
    bus.send(options.topic, message, deadline);
    for (;;) {
        const auto messages = bus.receive(deadline);
        if (messages.empty())
            throw Unaskable("no answer to " + quote(options.name) + " from " + quote(answerTopic) +
                            " in time");
        for (const ipc::IncomingMessage& received : messages) {
            const std::optional<ipc::IPCMessage> answer = decoded(received);
            if (!answer || answer->name != options.name + "Response")
                continue;
            std::cout << lineOf(received, options.isJson);
            return answer->params.parameters().isMember("error") ? Outcome::FINDING : Outcome::FINE;
        }
    }
}

void listen(const Options& options) {
    if (!ipc::isSubscriptionTopic(options.filter))
        throw Misuse("the topic filter " + quote(options.filter) + " is malformed");
    Endless endless;
    Bus bus({options.filter}, deadlineOf(Options()));
    for (;;) {
        for (const ipc::IncomingMessage& message : bus.take())
            if (!endless.print(lineOf(message, options.isJson)))
                return;
        pollfd socket = bus.descriptor();
        if (!endless.wait(socket, bus.latest()))
            return;
        bus.handle(socket.revents);
    }
}

void addMessage(CLI::App& command, Options& options) {
    command.add_option("TOPIC", options.topic, "SENDER/RECEIVER, such as auto-reboot/prov-client")
        ->required()
        ->type_name("");
    command.add_option("NAME", options.name, "The message's name")->required()->type_name("");
    addWords(command, "PARAMETER", options.parameters, "key=text, or key:=json for other values")
        ->required(false);
    command.add_option("--timeout", options.seconds, "Longest wait for the broker and the answer")
        ->check(CLI::Validator([](const std::string& text) { return whyNoTimeout(text); }, ""))
        ->type_name("SECONDS")
        ->capture_default_str();
}

void addJson(CLI::App& command, Options& options) {
    command.add_flag("--json", options.isJson, "Print one JSON object per line");
}

} // namespace

void addBusCommand(CLI::App& app, Outcome& outcome) {
    const auto options = std::make_shared<Options>();
    CLI::App* bus = app.add_subcommand("bus", "The phone's message bus");
    setExample(*bus, "ovoctl bus request watchdog/prov-client AreYouBusy");

    CLI::App* command = bus->add_subcommand("send", "Send a message that nobody has to answer");
    addMessage(*command, *options);
    addJson(*command, *options);
    setExample(*command, "ovoctl bus send auto-reboot/prov-client startProvisioning "
                         "location=http://192.0.2.1/phone.xml");
    command->callback([options] { send(*options); });

    command = bus->add_subcommand(
        "request", "Send a message and print the answer; status 1 for an error, 3 without one");
    addMessage(*command, *options);
    addJson(*command, *options);
    setExample(*command, "ovoctl bus request watchdog/prov-client AreYouBusy");
    command->callback([options, &outcome] { outcome = request(*options); });

    command = bus->add_subcommand("listen", "Print messages as they are sent, one a line");
    command->add_option("TOPIC-FILTER", options->filter, "Which topics (default: all)")
        ->type_name("");
    addJson(*command, *options);
    setExample(*command, "ovoctl bus listen 'prov-client/#'");
    command->callback([options] { listen(*options); });
}

} // namespace ovoctl
