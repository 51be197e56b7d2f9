// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct sqlite3_stmt;

namespace propertyapi {

class Database;

/// A statement for a connection, which must live longer; compiled when it is run for the first
/// time. Same thread rule as the connection.
class Statement {
public:
    Statement(Database& database, std::string text);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    /// One execution. Texts bound to it stay where they are until it is over. All operations throw
    /// DatabaseError.
    class Run {
    public:
        explicit Run(Statement& statement);
        ~Run();
        Run(const Run&) = delete;
        Run& operator=(const Run&) = delete;

        /// Parameters count from 1. Texts may hold any bytes.
        Run& bind(int parameter, std::string_view value);
        Run& bind(int parameter, std::int64_t value);
        /// True when there is a row (a further row).
        bool step();
        /// Columns count from 0; valid after a step that was true.
        std::string text(int column) { return std::string(view(column)); }
        /// The same, until the next step.
        std::string_view view(int column);
        std::int64_t integer(int column);
        bool isNull(int column);
        bool isText(int column);

    private:
        Statement& statement_;
    };

    /// Executes a statement without parameters whose rows do not matter.
    void execute();

private:
    void compile();

    Database& database_;
    std::string text_; ///< empty when it is compiled
    sqlite3_stmt* handle_ = nullptr;
};

} // namespace propertyapi
