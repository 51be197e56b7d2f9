// SPDX-License-Identifier: Apache-2.0
#include "StoredProperties.h"

#include "ovoctl/Failure.h"
#include "propertyapi/PropertyApiException.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <fstream>
#include <string_view>

namespace ovoctl {

namespace {

constexpr int LONGEST_WAIT_MS = 10000;
constexpr std::string_view ONE_BOOT = "State.";

/// Without a log nothing is in flight, and nothing need be locked or made beside the store.
bool hasLog(const posix::HostPath& store) {
    struct stat status {};
    return ::stat(store.with("-wal").c_str(), &status) == 0 && status.st_size > 0;
}

/// As a URI of the library: what has a meaning there is escaped.
std::string uriOf(const posix::HostPath& store) {
    constexpr std::string_view DIGITS = "0123456789ABCDEF";
    std::string uri = "file:";
    for (const char character : store.text()) {
        if (character == '%' || character == '?' || character == '#') {
            const auto code = static_cast<unsigned char>(character);
            uri.append({'%', DIGITS[code >> 4U], DIGITS[code & 0xfU]});
        } else {
            uri += character;
        }
    }
    return uri + (hasLog(store) ? "?mode=ro" : "?mode=ro&immutable=1");
}

std::string presentBoot() {
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::string id;
    std::getline(file, id);
    return id;
}

} // namespace

struct StoredProperties::Impl {
    ~Impl() {
        sqlite3_finalize(select);
        sqlite3_close_v2(handle);
    }

    std::string cause() const { return handle == nullptr ? "no memory" : sqlite3_errmsg(handle); }

    std::optional<std::string> run(sqlite3_stmt* statement) const {
        const int code = sqlite3_step(statement);
        std::optional<std::string> result;
        if (code == SQLITE_ROW) {
            const auto* text = static_cast<const char*>(
                static_cast<const void*>(sqlite3_column_text(statement, 0)));
            const int size = sqlite3_column_bytes(statement, 0);
            result.emplace(text == nullptr ? "" : text, static_cast<std::size_t>(size));
        }
        const std::string why = cause();
        sqlite3_reset(statement);
        if (code != SQLITE_ROW && code != SQLITE_DONE)
            throw propertyapi::PropertyApiException(why);
        return result;
    }

    std::optional<std::string> query(const char* text) const {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(handle, text, -1, &statement, nullptr) != SQLITE_OK)
            return std::nullopt; // a store that another program made lacks the table
        std::optional<std::string> result;
        try {
            result = run(statement);
        } catch (const propertyapi::PropertyApiException&) {
            sqlite3_finalize(statement);
            throw;
        }
        sqlite3_finalize(statement);
        return result;
    }

    sqlite3* handle = nullptr;
    sqlite3_stmt* select = nullptr;
    bool isOfOtherBoot = false; ///< then its keys of one boot are gone
};

StoredProperties::StoredProperties(const posix::HostPath& store) : impl_(std::make_unique<Impl>()) {
    const auto fail = [&](const std::string& why) {
        throw Unaskable("the property store " + store.text() + " cannot be read: " + why);
    };
    struct stat status {};
    if (::stat(store.c_str(), &status) != 0)
        fail("there is none (HALDEN_ROOT names the phone's root directory)");
    if (sqlite3_open_v2(uriOf(store).c_str(), &impl_->handle,
                        SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX,
                        nullptr) != SQLITE_OK)
        fail(impl_->cause());
    sqlite3_busy_timeout(impl_->handle, LONGEST_WAIT_MS);
    if (sqlite3_prepare_v2(impl_->handle, "SELECT value FROM property WHERE key = ?1", -1,
                           &impl_->select, nullptr) != SQLITE_OK)
        fail(impl_->cause());
    const auto noted = impl_->query("SELECT value FROM property_meta WHERE name = 'boot'");
    impl_->isOfOtherBoot = noted && !noted->empty() && *noted != presentBoot();
}

StoredProperties::~StoredProperties() = default;

std::optional<std::string> StoredProperties::value(const std::string& key) const {
    if (impl_->isOfOtherBoot && key.starts_with(ONE_BOOT))
        return std::nullopt;
    sqlite3_bind_text(impl_->select, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
    return impl_->run(impl_->select);
}

} // namespace ovoctl
