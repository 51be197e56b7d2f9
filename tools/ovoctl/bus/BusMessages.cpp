// SPDX-License-Identifier: Apache-2.0
#include "BusMessages.h"

#include "ipc/mosquitto/Payload.h"
#include "json/StrictReader.h"
#include "masking/Masking.h"
#include "ovoctl/Failure.h"
#include "ovoctl/support/JsonLine.h"
#include "ovoctl/support/Words.h"
#include "text/Escape.h"
#include "text/Quote.h"

#include <json/value.h>

#include <stdexcept>

namespace ovoctl {

namespace {

/// A word "key=text" or "key:=json" taken apart.
struct Parameter {
    std::string name;
    Json::Value value;
};

/// The text may be a secret: it shows in no error.
Json::Value jsonOf(const std::string& name, const std::string& text) {
    const std::string sentence = "the value of the parameter " + quote(name) + " is not JSON";
    try {
        const Json::Value list = json::read("[" + text + "]", {.deepest = ipc::DEEPEST_NESTING});
        if (list.size() == 1)
            return list[0];
    } catch (const json::ReadError& error) {
        throw Misuse(masking::isSecret(name) ? sentence : sentence + ": " + error.why);
    }
    throw Misuse(sentence);
}

Parameter parameterOf(const std::string& word) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos)
        throw Misuse("the parameter " + quote(word) + " is neither key=text nor key:=json");
    const bool isJson = equals > 0 && word[equals - 1] == ':';
    const std::string name = word.substr(0, isJson ? equals - 1 : equals);
    const std::string text = word.substr(equals + 1);
    if (name.empty())
        throw Misuse("a parameter has no name before its \"=\"");
    requireText("parameter", name);
    if (!isText(text))
        throw Misuse("the value of the parameter " + quote(name) + " is not UTF-8");
    return {name, isJson ? jsonOf(name, text) : Json::Value(text)};
}

/// The topic as a program may read it, whatever bytes it has.
std::string topicOf(const ipc::IncomingMessage& message) {
    return isText(message.topic) ? message.topic : escapeControls(message.topic);
}

} // namespace

ipc::IPCMessage messageOf(const std::string& name, const std::vector<std::string>& parameters,
                          bool isAnswerExpected) {
    requireName("message's name", name);
    ipc::IPCMessage message(name, {}, isAnswerExpected);
    for (const std::string& word : parameters) {
        const Parameter parameter = parameterOf(word);
        if (message.params.parameters().isMember(parameter.name))
            throw Misuse("the parameter " + quote(parameter.name) + " is given twice");
        message.params.add(parameter.name, parameter.value);
    }
    try {
        ipc::decode(ipc::encode(message));
    } catch (const std::runtime_error& error) {
        throw Misuse("the message " + quote(name) + " cannot be sent: " + error.what());
    }
    return message;
}

Json::Value describe(const ipc::IncomingMessage& incoming, bool showsSecrets) {
    Json::Value object(Json::objectValue);
    object["topic"] = topicOf(incoming);
    try {
        const ipc::IPCMessage message = ipc::decode(incoming.payload);
        const Json::Value& parameters = message.params.parameters();
        object["name"] = message.name;
        object["parameters"] = showsSecrets ? parameters : masking::shown(message.name, parameters);
        object["flag"] = message.flag;
    } catch (const std::runtime_error& error) {
        object["error"] = error.what();
    }
    return object;
}

std::string lineOf(const ipc::IncomingMessage& message, bool isJson) {
    Json::Value object = describe(message, false);
    if (isJson)
        return jsonLine(object);
    const std::string topic = escapeControls(message.topic);
    if (object.isMember("error"))
        return topic + " not a bus message: " + object["error"].asString() + "\n";
    object.removeMember("topic");
    return topic + " " + jsonLine(object);
}

} // namespace ovoctl
