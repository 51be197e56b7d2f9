// SPDX-License-Identifier: Apache-2.0
#include "StoreCopy.h"

#include "TemporaryRoom.h"
#include "ovoctl/Failure.h"
#include "paths/Paths.h"
#include "posix/FileStamp.h"
#include "propertyapi/sqlite/Database.h"
#include "propertyapi/sqlite/Statement.h"
#include "text/Quote.h"

#include <filesystem>
#include <utility>

namespace ovoctl::check {

namespace {

constexpr const char* LOG_SUFFIX = "-wal";
constexpr int ATTEMPTS = 20;

/// Database and write-ahead log belong together only if neither changed meanwhile.
std::pair<posix::FileStamp, posix::FileStamp> stampsOf(const posix::HostPath& store) {
    return {posix::FileStamp::of(store), posix::FileStamp::of(store.with(LOG_SUFFIX))};
}

void copy(const posix::HostPath& from, const posix::HostPath& to) {
    std::filesystem::copy_file(from.text(), to.text(),
                               std::filesystem::copy_options::overwrite_existing);
}

bool copyUnchanged(const posix::HostPath& store, const posix::HostPath& target) {
    const auto before = stampsOf(store);
    copy(store, target);
    std::filesystem::remove(target.with(LOG_SUFFIX).text());
    if (!before.second.isMissing())
        copy(store.with(LOG_SUFFIX), target.with(LOG_SUFFIX));
    return stampsOf(store) == before;
}

Values readAll(const posix::HostPath& path) {
    propertyapi::Database database(path);
    propertyapi::Statement select(database, "SELECT key, value FROM property");
    propertyapi::Statement::Run run(select);
    Values values;
    while (run.step())
        values.emplace(run.text(0), run.text(1));
    return values;
}

} // namespace

Values readStore(const std::string& phonePath) {
    const posix::HostPath store = paths::toHost(phonePath);
    const std::string name = quote(store.text());
    if (posix::FileStamp::of(store).isMissing())
        throw Unaskable("there is no property store " + name);
    try {
        const TemporaryRoom room;
        const posix::HostPath target(room.path() + "/store");
        for (int attempt = 0; attempt < ATTEMPTS; ++attempt)
            if (copyUnchanged(store, target))
                return readAll(target);
    } catch (const std::exception& exception) {
        throw Unaskable("the property store " + name + " cannot be read: " + exception.what());
    }
    throw Unaskable("the property store " + name + " changes all the time");
}

} // namespace ovoctl::check
