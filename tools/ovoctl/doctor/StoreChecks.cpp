// SPDX-License-Identifier: Apache-2.0
#include "StoreChecks.h"

#include "Examination.h"
#include "Vocabulary.h"
#include "ovoctl/support/FileMode.h"
#include "paths/Paths.h"
#include "posix/FileStamp.h"
#include "propertyapi/sqlite/ReadOnlyStore.h"
#include "text/Number.h"

#include <cstring>

namespace ovoctl {

namespace {

namespace keys = ovo::keys;
using posix::FileStamp;
using posix::HostPath;

constexpr const char* STORE = "store";
constexpr const char* MODE = "store mode";
constexpr const char* LOG_SIZE = "store log";
constexpr const char* CONTENT = "store integrity";
constexpr const char* VERSION = "store version";
constexpr const char* TRIGGERS = "store triggers";

std::string listed(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

void checkMode(Examination& examination, const HostPath& path) {
    for (const char* suffix : {"", "-wal", "-shm"}) {
        const HostPath file = path.with(suffix);
        const FileStamp stamp = FileStamp::of(file);
        if (stamp.error == 0 && isOpenToOthers(stamp)) {
            examination.warn(
                MODE, file.text() + " is open to others: mode " + modeOf(stamp),
                "set its mode to 0600, the store holds passwords (the daemon does so when it "
                "opens the store)");
            return;
        }
    }
    examination.fine(MODE, "only its owner can read it");
}

void checkLog(Examination& examination, const HostPath& path) {
    const FileStamp log = FileStamp::of(path.with("-wal"));
    const std::int64_t size = log.error == 0 ? log.size : 0;
    if (size > propertyapi::SqliteSettings().walWriterLimit)
        examination.warn(LOG_SIZE,
                         path.with("-wal").text() + " has " + std::to_string(size) + " bytes",
                         "a program keeps the store open and reads without an end: find it with "
                         "fuser, and end it");
    else
        examination.fine(LOG_SIZE, std::to_string(size) + " bytes");
}

void checkVersion(Examination& examination, const std::string& version) {
    const std::string_view known = propertyapi::schema::version();
    if (version == known) {
        examination.fine(VERSION, version);
        return;
    }
    const auto number = parseNumber<int>(version);
    const bool isOlder = number && *number < parseNumber<int>(known).value_or(0);
    const std::string text =
        version + (isOlder ? ", which is older than " : ", which is newer than ");
    examination.warn(VERSION, text + std::string(known),
                     isOlder ? "start the daemon, which brings it up to date"
                             : "use the ovoctl and the daemon of one version");
}

void checkTriggers(Examination& examination, const propertyapi::schema::Condition& condition) {
    if (!condition.foreignTriggers.empty())
        examination.warn(TRIGGERS,
                         "another program has put triggers on the tables: " +
                             listed(condition.foreignTriggers),
                         "drop them: they do not fire for what the daemon writes");
    if (!condition.missingTriggers.empty() && condition.version == propertyapi::schema::version())
        examination.fail(TRIGGERS,
                         "triggers that note changes are missing: " +
                             listed(condition.missingTriggers),
                         "changes by other programs go unnoticed; save the store with ovoctl "
                         "property dump, remove it and load what was saved");
    else if (condition.foreignTriggers.empty())
        examination.fine(TRIGGERS, "no other program's");
}

void readProperties(Examination& examination, const propertyapi::ReadOnlyStore& store) {
    for (const auto& found :
         store.find({keys::PROVISIONING_SERVER, keys::MAC_ADDRESS, keys::HTTP_USER,
                     keys::HTTP_PASSWORD, keys::FACTORY_USER, keys::FACTORY_PASSWORD}))
        if (found)
            examination.properties[found->key] = found->value;
    examination.isStoreReadable = true;
}

void skipContent(Examination& examination, const std::string& why) {
    for (const char* check : {VERSION, TRIGGERS})
        examination.skip(check, why);
}

} // namespace

void checkStore(Examination& examination) {
    const HostPath path = paths::toHost(propertyapi::SqlitePropertyApi::STORE);
    const FileStamp stamp = FileStamp::of(path);
    if (stamp.error != 0) {
        examination.fail(STORE,
                         path.text() + (stamp.isMissing()
                                            ? " does not exist"
                                            : std::string(": ") + std::strerror(stamp.error)),
                         stamp.isMissing() ? "start the daemon, which makes it, or correct "
                                             "HALDEN_ROOT"
                                           : "use a user who may look at it");
        for (const char* check : {MODE, LOG_SIZE, CONTENT})
            examination.skip(check, "there is no store");
        skipContent(examination, "there is no store");
        return;
    }
    examination.fine(STORE, path.text());
    checkMode(examination, path);
    checkLog(examination, path);
    const propertyapi::ReadOnlyStore store(propertyapi::SqlitePropertyApi::STORE,
                                           {.busyTimeout = Examination::TIME_LIMIT});
    try {
        store.check();
    } catch (const std::exception& error) {
        examination.fail(CONTENT, error.what(),
                         "restore a copy of the store; the daemon puts a damaged one aside when it "
                         "starts, and begins an empty one");
        skipContent(examination, "the store cannot be read");
        return;
    }
    examination.fine(CONTENT, "the store is sound");
    const propertyapi::schema::Condition condition = store.inspect();
    checkVersion(examination, condition.version);
    checkTriggers(examination, condition);
    readProperties(examination, store);
}

} // namespace ovoctl
