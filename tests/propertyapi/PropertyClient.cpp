// SPDX-License-Identifier: Apache-2.0
// A client of the property store in a process of its own, for the tests.
//
//   property_client write KEY COUNT             writes 1 ... COUNT to a key, one at a time
//   property_client burst KEY COUNT             writes 1 ... COUNT to a key in one batch
//   property_client pairs FIRST SECOND          writes ever higher numbers to both keys in batches,
//                                               until it is ended
//   property_client fill KEYS                   writes a batch that the space does not suffice for
//                                               , then
//                                               with space, and tells how both went
//   property_client open [powerless]            opens the store, as a user without any rights
//   property_client count KEY                   writes ever higher numbers to a key, until it is
//                                               ended
//   property_client hold FILE                   takes the write lock of a database, until it is
//                                               ended
//   property_client look FILE                   reads a database once and keeps it open, until it
//                                               is ended
//   property_client snapshot FILE               goes on reading that state of it, until it is ended
//   property_client make-and-hold FILE          holds after opening the store, which it keeps open
//   property_client measure                     prints how long the operations take

#include "propertyapi/sqlite/SqlitePropertyApi.h"

#include <grp.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <map>
#include <string>
#include <thread>
#include <vector>

using propertyapi::IPropertyApi;
using propertyapi::PropertyApiException;
using propertyapi::SqlitePropertyApi;

namespace {

using Arguments = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

int write(const Arguments& arguments) {
    const SqlitePropertyApi api;
    const int count = std::stoi(arguments.at(1));
    for (int number = 1; number <= count; ++number)
        api.setValue(arguments[0], std::to_string(number));
    return 0;
}

int burst(const Arguments& arguments) {
    const SqlitePropertyApi api;
    const int count = std::stoi(arguments.at(1));
    IPropertyApi::Batch batch;
    for (int number = 1; number <= count; ++number)
        batch.emplace_back(arguments[0], std::to_string(number));
    api.setValues(batch, "burst");
    return 0;
}

int pairs(const Arguments& arguments) {
    const SqlitePropertyApi api;
    for (long number = 1;; ++number) {
        const std::string text = std::to_string(number);
        IPropertyApi::Batch batch = {{arguments.at(0), text}};
        for (int i = 0; i < 50; ++i)
            batch.emplace_back("State.Between." + std::to_string(i), text);
        batch.emplace_back(arguments.at(1), text);
        api.setValues(batch, "pairs");
    }
}

/// Files of this process may not grow beyond a size: what a full disk is, for the store alone.
void limitFiles(rlim_t size) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = std::min(size, limit.rlim_max);
    ::setrlimit(RLIMIT_FSIZE, &limit);
}

int fill(const Arguments& arguments) {
    const SqlitePropertyApi api;
    api.setValue("Fill.0", "before");
    IPropertyApi::Batch batch;
    for (int i = 0; i < std::stoi(arguments.at(0)); ++i)
        batch.emplace_back("Fill." + std::to_string(i), std::string(100, 'x'));
    limitFiles(1 << 20);
    const auto attempt = [&] {
        try {
            std::cout << api.setValues(batch, "fill") << " written\n";
        } catch (const PropertyApiException& error) {
            std::cout << error.what() << '\n';
        }
    };
    attempt();
    std::cout << "0: " << api.getValue("Fill.0") << ", 1: " << api.exists("Fill.1") << '\n';
    limitFiles(RLIM_INFINITY);
    attempt();
    return 0;
}

int open(const Arguments& arguments) {
    const bool powerless = arguments.size() == 1 && arguments[0] == "powerless";
    if (powerless && ::geteuid() == 0 &&
        (::setgroups(0, nullptr) != 0 || ::setgid(65534) != 0 || ::setuid(65534) != 0))
        return 2;
    try {
        const SqlitePropertyApi api;
        std::cout << "opened\n";
    } catch (const PropertyApiException& error) {
        std::cout << error.what() << '\n';
    }
    // What measures coverage would complain that it cannot write its counts.
    if (powerless) {
        std::cout.flush();
        std::_Exit(0);
    }
    return 0;
}

int count(const Arguments& arguments) {
    const SqlitePropertyApi api;
    for (long number = 1;; ++number)
        api.setValue(arguments.at(0), std::to_string(number));
}

/// Runs a statement on a database and keeps it open, without looking at it again.
int keep(const std::string& file, const char* statement) {
    sqlite3* handle = nullptr;
    if (sqlite3_open(file.c_str(), &handle) != SQLITE_OK ||
        sqlite3_exec(handle, statement, nullptr, nullptr, nullptr) != SQLITE_OK) {
        std::cout << sqlite3_errmsg(handle) << '\n';
        return 1;
    }
    std::cout << "held" << std::endl;
    for (;;)
        ::pause();
}

int look(const Arguments& arguments) {
    return keep(arguments.at(0), "SELECT 1 FROM property");
}

int snapshot(const Arguments& arguments) {
    return keep(arguments.at(0), "BEGIN; SELECT 1 FROM property");
}

int hold(const Arguments& arguments) {
    return keep(arguments.at(0), "BEGIN IMMEDIATE");
}

int makeAndHold(const Arguments& arguments) {
    const SqlitePropertyApi api;
    return hold(arguments);
}

template <typename Operation>
void time(const std::string& what, int count, Operation operation) {
    std::vector<double> times;
    for (int i = 0; i < count; ++i) {
        const auto begin = Clock::now();
        operation(i);
        times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
    }
    std::sort(times.begin(), times.end());
    std::cout << what << ": median " << times[times.size() / 2] << " us, least " << times.front()
              << " us, most " << times.back() << " us\n";
}

IPropertyApi::Batch batchOf(int count, const std::string& value) {
    IPropertyApi::Batch batch;
    for (int i = 0; i < count; ++i)
        batch.emplace_back("Telephony.Account.Parameter." + std::to_string(i),
                           value + std::to_string(i));
    return batch;
}

int measure(const Arguments&) {
    constexpr int BATCH = 10'000;
    time("making a store", 1, [](int) { const SqlitePropertyApi api; });
    time("opening it empty", 50, [](int) { const SqlitePropertyApi api; });
    const SqlitePropertyApi api;
    time("batch of 10,000 new keys", 1,
         [&](int) { api.setValues(batchOf(BATCH, "first "), "measure"); });
    time("batch of 10,000 changed values", 20, [&](int round) {
        api.setValues(batchOf(BATCH, "round " + std::to_string(round) + " "), "measure");
    });
    time("batch of 10,000 that changes nothing", 20,
         [&](int) { api.setValues(batchOf(BATCH, "round 19 "), "measure"); });
    time("write of a lasting key", 500,
         [&](int i) { api.setValue("Measure.Key", std::to_string(i)); });
    time("write of a State. key", 500,
         [&](int i) { api.setValue("State.Measure.Key", std::to_string(i)); });
    time("write of the same value", 500, [&](int) { api.setValue("State.Measure.Key", "499"); });
    time("read of a key", 10'000,
         [&](int i) { api.getValue("Telephony.Account.Parameter." + std::to_string(i)); });
    time("opening with 10,000 keys", 20, [](int) { const SqlitePropertyApi another; });
    return 0;
}

const std::map<std::string, int (*)(const Arguments&)> COMMANDS = {
    {"write", write},     {"burst", burst}, {"pairs", pairs},       {"fill", fill},
    {"open", open},       {"count", count}, {"hold", hold},         {"make-and-hold", makeAndHold},
    {"measure", measure}, {"look", look},   {"snapshot", snapshot},
};

} // namespace

int main(int argc, char** argv) {
    const Arguments all(argv + 1, argv + argc);
    const auto command = all.empty() ? COMMANDS.end() : COMMANDS.find(all.front());
    if (command == COMMANDS.end()) {
        std::cerr << "usage: property_client COMMAND ...\n";
        return 2;
    }
    try {
        return command->second({all.begin() + 1, all.end()});
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
