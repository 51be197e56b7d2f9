// SPDX-License-Identifier: Apache-2.0
#include "RawRun.h"

#include "FileContent.h"
#include "HttpClient.h"
#include "Require.h"

#include <sqlite3.h>

#include <utility>

struct RawRun::Impl {
    std::string password;
    HttpClient http;
    sqlite3* database = nullptr;
    sqlite3_stmt* upsert = nullptr;

    Impl(std::string key, std::string caBundle)
        : password(std::move(key)), http(std::move(caBundle)) {}

    void execute(const char* sql) const {
        require(sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sql);
    }

    void store(const Parameters& parameters) const {
        execute("BEGIN IMMEDIATE");
        for (const auto& [key, value] : parameters) {
            sqlite3_bind_text(upsert, 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
            sqlite3_bind_text(upsert, 2, value.data(), static_cast<int>(value.size()),
                              SQLITE_STATIC);
            require(sqlite3_step(upsert) == SQLITE_DONE, "upsert");
            sqlite3_reset(upsert);
        }
        execute("COMMIT");
    }
};

RawRun::RawRun(const std::string& database, std::string password, std::string caBundle)
    : impl_(std::make_unique<Impl>(std::move(password), std::move(caBundle))) {
    require(sqlite3_open(database.c_str(), &impl_->database) == SQLITE_OK, "open");
    sqlite3_busy_timeout(impl_->database, 10000);
    impl_->execute("PRAGMA journal_mode = WAL");
    impl_->execute("PRAGMA synchronous = FULL");
    impl_->execute("CREATE TABLE IF NOT EXISTS property(key TEXT PRIMARY KEY, value TEXT NOT NULL, "
                   "origin TEXT NOT NULL DEFAULT '')");
    require(sqlite3_prepare_v2(
                impl_->database,
                "INSERT INTO property(key, value, origin) VALUES(?1, ?2, 'provisioning') "
                "ON CONFLICT(key) DO UPDATE SET value = excluded.value, "
                "origin = excluded.origin WHERE value IS NOT excluded.value",
                -1, &impl_->upsert, nullptr) == SQLITE_OK,
            "prepare");
}

RawRun::~RawRun() {
    sqlite3_finalize(impl_->upsert);
    sqlite3_close(impl_->database);
}

void RawRun::run(const std::string& url) {
    std::string plain = decrypt(impl_->http.get(url), impl_->password);
    impl_->store(parse(plain));
}

void RawRun::get(const std::string& url) {
    impl_->http.get(url);
}

void RawRun::write(const std::string& key, const std::string& value) {
    impl_->store({{key, value}});
}
