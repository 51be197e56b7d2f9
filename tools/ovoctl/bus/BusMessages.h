// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/IPCMessage.h"
#include "ipc/mosquitto/RequestQueue.h"

#include <json/value.h>

#include <string>
#include <vector>

namespace ovoctl {

/// A message of words from the command line: its name, and parameters as "key=text" or "key:=json".
/// Throws Misuse, which names the word, also for a message that no receiver would take.
ipc::IPCMessage messageOf(const std::string& name, const std::vector<std::string>& parameters,
                          bool isAnswerExpected);

/// A message that arrived, as an object: "topic", and "name", "parameters" and "flag", or "error"
/// with the reason for which it is not a message. Passwords are hidden but with showsSecrets.
Json::Value describe(const ipc::IncomingMessage& incoming, bool showsSecrets);

/// A message that arrived, on a line: the topic and the message in its documented form, or as one
/// JSON object. What is not a message says so. Passwords are hidden.
std::string lineOf(const ipc::IncomingMessage& message, bool isJson);

} // namespace ovoctl
