// SPDX-License-Identifier: Apache-2.0
#include "SimulatorProcess.h"

#include "support/process/WaitUntil.h"

#include <json/reader.h>

#include <memory>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace {

std::vector<std::string> commandLine(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {PHONE_SIMULATOR, "run", "--json"});
    return arguments;
}

} // namespace

SimulatorProcess::SimulatorProcess(std::vector<std::string> arguments)
    : process_(commandLine(std::move(arguments)), outputFile()) {
    if (waitForEvent("note", "").isNull())
        throw std::runtime_error("phone-simulator does not start: " + output());
}

std::string SimulatorProcess::output() const {
    return readHostFile(outputFile());
}

std::vector<Json::Value> SimulatorProcess::events() const {
    std::vector<Json::Value> events;
    std::istringstream lines(output());
    for (std::string line; std::getline(lines, line) && !lines.eof();) {
        if (Json::Value event = parsed(line); event.isObject())
            events.push_back(std::move(event));
    }
    return events;
}

Json::Value SimulatorProcess::waitForEvent(const std::string& kind, const std::string& name) const {
    Json::Value found;
    waitUntil([&] {
        for (Json::Value& event : events()) {
            if (event["event"] == kind && event["name"] == name) {
                found = std::move(event);
                return true;
            }
        }
        return false;
    });
    return found;
}

Json::Value parsed(const std::string& text) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors))
        return {};
    return value;
}
