// SPDX-License-Identifier: Apache-2.0
#include "Statement.h"

#include "Database.h"

#include <sqlite3.h>

#include <utility>

namespace propertyapi {

Statement::Statement(Database& database, std::string text)
    : database_(database), text_(std::move(text)) {}

Statement::~Statement() {
    sqlite3_finalize(handle_);
}

void Statement::compile() {
    const int code =
        sqlite3_prepare_v3(database_.handle(), text_.c_str(), static_cast<int>(text_.size() + 1),
                           SQLITE_PREPARE_PERSISTENT, &handle_, nullptr);
    if (code != SQLITE_OK)
        database_.fail(code);
    std::string().swap(text_);
}

void Statement::execute() {
    Run(*this).step();
}

Statement::Run::Run(Statement& statement) : statement_(statement) {
    if (statement_.handle_ == nullptr)
        statement_.compile();
}

Statement::Run::~Run() {
    // Its result repeats the error of the last step, which has been thrown.
    sqlite3_reset(statement_.handle_);
    sqlite3_clear_bindings(statement_.handle_);
}

Statement::Run& Statement::Run::bind(int parameter, std::string_view value) {
    const int code = sqlite3_bind_text64(statement_.handle_, parameter, value.data(), value.size(),
                                         SQLITE_STATIC, SQLITE_UTF8);
    if (code != SQLITE_OK)
        statement_.database_.fail(code);
    return *this;
}

Statement::Run& Statement::Run::bind(int parameter, std::int64_t value) {
    const int code = sqlite3_bind_int64(statement_.handle_, parameter, value);
    if (code != SQLITE_OK)
        statement_.database_.fail(code);
    return *this;
}

bool Statement::Run::step() {
    const int code = sqlite3_step(statement_.handle_);
    if (code != SQLITE_ROW && code != SQLITE_DONE)
        statement_.database_.fail(code);
    return code == SQLITE_ROW;
}

std::string_view Statement::Run::view(int column) {
    // The text first: asking for it may convert the value, which settles the size.
    const unsigned char* text = sqlite3_column_text(statement_.handle_, column);
    const int size = sqlite3_column_bytes(statement_.handle_, column);
    if (text == nullptr)
        return {};
    return {reinterpret_cast<const char*>(text), static_cast<std::size_t>(size)};
}

std::int64_t Statement::Run::integer(int column) {
    return sqlite3_column_int64(statement_.handle_, column);
}

bool Statement::Run::isNull(int column) {
    return sqlite3_column_type(statement_.handle_, column) == SQLITE_NULL;
}

bool Statement::Run::isText(int column) {
    return sqlite3_column_type(statement_.handle_, column) == SQLITE_TEXT;
}

} // namespace propertyapi
