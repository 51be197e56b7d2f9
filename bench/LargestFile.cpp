// SPDX-License-Identifier: Apache-2.0
// The largest provisioning files that are allowed: what a run with one takes in time and memory,
// each in a process of its own. Prints a table.

#include "System.h"
#include "support/http/Nginx.h"
#include "support/ipc/Broker.h"
#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"
#include "xml/Xml.h"

#include <malloc.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>

namespace {

constexpr char BEGIN[] = "<settings version=\"1.1\">";
constexpr char END[] = "</settings>";
/// The root and its attribute count, too.
constexpr std::size_t UNITS = common::xml::MAX_ELEMENTS_AND_ATTRIBUTES - 2;

/// Elements that take so many units each, as many as are allowed; each is made of its number.
std::string fileOf(std::size_t unitsEach,
                   const std::function<std::string(const std::string& number)>& element) {
    std::string file = BEGIN;
    for (std::size_t number = 0; number < UNITS / unitsEach; ++number)
        file += element(std::to_string(number));
    return file + END;
}

/// Filled up to the largest size by the values.
std::string parameters() {
    constexpr std::size_t COUNT = UNITS / 3;
    constexpr std::size_t ROOM = common::xml::MAX_BYTES / COUNT;
    return fileOf(3, [](const std::string& number) {
        std::string text = "<param name=\"Directory.Entry." + number + ".Number\" value=\"";
        text.append(ROOM - text.size() - std::strlen("\"/>") - 1, 'x');
        return text + "\"/>";
    });
}

struct Kind {
    const char* name;
    const char* path;
    std::function<std::string()> content;
};

const Kind KINDS[] = {
    {"parameters, 16 MiB", "/parameters.xml", parameters},
    {"parameters, short values", "/short.xml",
     [] {
         return fileOf(3, [](const std::string& number) {
             return "<param name=\"A." + number + "\" value=\"1\"/>";
         });
     }},
    {"elements with one attribute", "/attributes.xml",
     [] {
         return fileOf(2, [](const std::string&) { return std::string("<p name=\"A\"/>"); });
     }},
    {"elements without attributes", "/elements.xml",
     [] {
         return fileOf(1, [](const std::string&) { return std::string("<p/>"); });
     }},
};

/// A line of /proc/self/status in MiB.
double statusValue(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind(name + ":", 0) == 0)
            return std::stod(line.substr(name.size() + 1)) / 1024;
    throw std::runtime_error("no " + name + " in /proc/self/status");
}

/// One run in this process, one line of the table.
int measure(const char* name, const std::string& bus, const std::string& url) {
    // Its log lines are part of what a run costs; nobody wants to read them.
    if (std::freopen("/dev/null", "w", stderr) == nullptr)
        throw std::runtime_error("cannot write to /dev/null");
    System system(bus);
    const auto time = system.run(url);
    ::malloc_trim(0); // as after a health check
    std::printf("%-30s %8.1f %9.1f %9.1f  %s\n", name, std::chrono::duration<double>(time).count(),
                statusValue("VmHWM"), statusValue("RssAnon"),
                system.properties().getValue("State.Provisioning").c_str());
    return 0;
}

void benchmark(const std::string& program) {
    const PhoneRoot root;
    const Broker broker;
    const Nginx server;
    std::printf("%-30s %8s %9s %9s  %s\n", "file", "s", "peak MiB", "then MiB", "result");
    std::fflush(stdout);
    for (const Kind& kind : KINDS) {
        server.publish(kind.path, kind.content());
        ChildProcess child({program, kind.name, broker.address(), server.url(kind.path)});
        if (child.wait(std::chrono::minutes(10)) != 0)
            throw std::runtime_error(std::string(kind.name) + " failed");
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        if (argc == 4)
            return measure(argv[1], argv[2], argv[3]);
        benchmark("/proc/self/exe");
        return 0;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "%s: %s\n", argv[0], exception.what());
        return 1;
    }
}
