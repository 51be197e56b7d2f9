// SPDX-License-Identifier: Apache-2.0
#include "RawRun.h"

#include <curl/curl.h>
#include <openssl/evp.h>
#include <sqlite3.h>

#include <array>
#include <pugixml.hpp>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

using Parameters = std::vector<std::pair<std::string, std::string>>;

void require(bool condition, const char* what) {
    if (!condition)
        throw std::runtime_error(std::string("raw run: ") + what);
}

std::size_t append(char* data, std::size_t size, std::size_t count, void* body) {
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
}

std::string decrypt(const std::string& encrypted, const std::string& password) {
    constexpr std::size_t HEADER = 16;
    std::array<unsigned char, 32> keyAndIv{};
    const auto* bytes = reinterpret_cast<const unsigned char*>(encrypted.data());
    require(::PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), bytes + 8, 8,
                                10000, EVP_sha256(), static_cast<int>(keyAndIv.size()),
                                keyAndIv.data()) == 1,
            "key derivation");
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
        EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    std::string plain(encrypted.size(), '\0');
    auto* out = reinterpret_cast<unsigned char*>(plain.data());
    int first = 0;
    int last = 0;
    require(EVP_DecryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, keyAndIv.data(),
                               keyAndIv.data() + 16) == 1 &&
                EVP_DecryptUpdate(context.get(), out, &first, bytes + HEADER,
                                  static_cast<int>(encrypted.size() - HEADER)) == 1 &&
                EVP_DecryptFinal_ex(context.get(), out + first, &last) == 1,
            "decryption");
    plain.resize(static_cast<std::size_t>(first) + static_cast<std::size_t>(last));
    return plain;
}

Parameters parse(std::string& text) {
    pugi::xml_document document;
    require(document.load_buffer_inplace(text.data(), text.size()), "parse");
    Parameters parameters;
    for (const pugi::xml_node settings : document.document_element())
        for (const pugi::xml_node param : settings)
            parameters.emplace_back(param.attribute("name").value(),
                                    param.attribute("value").value());
    return parameters;
}

} // namespace

struct RawRun::Impl {
    std::string password;
    std::string caBundle;
    CURL* curl = nullptr;
    sqlite3* database = nullptr;
    sqlite3_stmt* upsert = nullptr;

    void execute(const char* sql) const {
        require(sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sql);
    }

    std::string get(const std::string& url) {
        if (curl == nullptr) { // at the first use, which a start is measured without
            curl = curl_easy_init();
            curl_easy_setopt(curl, CURLOPT_CAINFO, caBundle.c_str());
        }
        std::string body;
        curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
        curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, append);
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
        curl_easy_setopt(curl, CURLOPT_FAILONERROR, 1L);
        require(curl_easy_perform(curl) == CURLE_OK, "get");
        return body;
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
    : impl_(std::make_unique<Impl>()) {
    impl_->password = std::move(password);
    impl_->caBundle = std::move(caBundle);
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
    if (impl_->curl != nullptr)
        curl_easy_cleanup(impl_->curl);
}

void RawRun::run(const std::string& url) {
    std::string plain = decrypt(impl_->get(url), impl_->password);
    impl_->store(parse(plain));
}

void RawRun::get(const std::string& url) {
    impl_->get(url);
}

void RawRun::write(const std::string& key, const std::string& value) {
    impl_->store({{key, value}});
}
