// SPDX-License-Identifier: Apache-2.0
#include "PhoneStart.h"

#include "LogLine.h"
#include "Require.h"
#include "WholeFile.h"

#include <fcntl.h>
#include <json/reader.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <filesystem>
#include <memory>

namespace {

/// Of wallpapers, certificates, firmware and contacts.
constexpr int OTHER_DIRECTORIES = 6;
constexpr int SUBSCRIPTIONS = 8;
constexpr int READ_PROPERTIES = 10;
constexpr int LOG_LINES = 9;
/// The timer's, the health check's, the one that waits for others.
constexpr int WAITING_THREADS = 3;

void readConfiguration(const std::string& path) {
    Json::Value values;
    std::string errors;
    const std::string text = readWhole(path);
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    require(reader->parse(text.data(), text.data() + text.size(), &values, &errors), path.c_str());
}

} // namespace

PhoneStart::PhoneStart(const Places& places) : directory_(places.directory) {
    lock_ = ::open(places.lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const std::string owner = std::to_string(::getpid()) + "\n";
    require(lock_ >= 0 && ::flock(lock_, LOCK_EX | LOCK_NB) == 0 && ::ftruncate(lock_, 0) == 0 &&
                ::pwrite(lock_, owner.data(), owner.size(), 0) > 0,
            places.lock.c_str());
    readConfiguration(places.configuration);
}

PhoneStart::~PhoneStart() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_)
        thread.join();
    ::close(lock_);
}

void PhoneStart::go(StepsStore& store, const std::string& database) {
    namespace fs = std::filesystem;
    threads_.emplace_back(&PhoneStart::watch, this, database);
    for (int other = 0; other < OTHER_DIRECTORIES; ++other)
        static_cast<void>(fs::exists(directory_ + "-" + std::to_string(other)));
    for (const fs::directory_entry& entry : fs::directory_iterator(directory_))
        if (entry.is_directory())
            static_cast<void>(fs::is_empty(entry.path()));
    for (int property = 0; property < SUBSCRIPTIONS + READ_PROPERTIES; ++property)
        static_cast<void>(store.value("Start." + std::to_string(property)));
    for (int line = 0; line < LOG_LINES; ++line)
        logLine("Setting " + std::to_string(line));
    for (int thread = 0; thread < WAITING_THREADS; ++thread)
        threads_.emplace_back(&PhoneStart::waitForEnd, this);
}

/// The notification thread. It sees no change: a run is measured without.
void PhoneStart::watch(const std::string& database) {
    const StepsStore::Journal journal(database);
    const int events = ::inotify_init1(IN_CLOEXEC);
    ::inotify_add_watch(events, (database + "-wal").c_str(), IN_MODIFY);
    waitForEnd();
    ::close(events);
}

void PhoneStart::waitForEnd() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return isEnding_; });
}
