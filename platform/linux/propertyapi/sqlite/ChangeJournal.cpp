// SPDX-License-Identifier: Apache-2.0
#include "ChangeJournal.h"

#include "ChangePack.h"
#include "Schema.h"

#include <string_view>
#include <utility>

namespace propertyapi {

namespace {

/// A page ends with the change that reaches one of these.
constexpr std::size_t PAGE_CHANGES = 256;
constexpr std::size_t PAGE_BYTES = 1 << 20;

} // namespace

ChangeJournal::ChangeJournal(std::unique_ptr<Database> database)
    : database_(std::move(database))
    , begin_(*database_, "BEGIN")
    , span_(*database_, "SELECT coalesce((SELECT previous FROM property_change "
                        "ORDER BY sequence LIMIT 1), 0), "
                        "coalesce((SELECT max(sequence) FROM property_change), 0)")
    // A key of another type may read like the text of another key.
    , changes_(*database_,
               "SELECT sequence, CASE typeof(key) WHEN 'text' THEN key END, value, previous, "
               "changes FROM property_change WHERE sequence > ?1 ORDER BY sequence")
    , value_(*database_, "SELECT value FROM property WHERE key = ?1") {}

ChangeJournal::Span ChangeJournal::span() {
    Statement::Run run(span_);
    run.step();
    return {run.integer(0), run.integer(1)};
}

ChangeJournal::Page ChangeJournal::read(std::int64_t after, const Keys& keys) {
    Page page{after, {}};
    Statement::Run run(changes_);
    run.bind(1, after);
    std::size_t bytes = 0;
    const auto add = [&](std::string_view name, std::string_view value) {
        const auto key = keys.find(name);
        if (key == keys.end())
            return;
        page.changes.push_back({page.end, {*key, std::string(value)}});
        bytes += value.size();
    };
    const auto isFull = [&] {
        return page.changes.size() >= PAGE_CHANGES || bytes >= PAGE_BYTES;
    };
    while (!isFull() && run.step()) {
        if (run.integer(4) == 1) {
            page.end = run.integer(0);
            if (!run.isNull(1))
                add(run.view(1), run.view(2));
            continue;
        }
        std::string_view pack = run.view(2);
        std::int64_t number = run.integer(3);
        while (const auto change = isFull() ? std::nullopt : changepack::takeFirst(pack)) {
            number += schema::numbersOf(change->key, change->value);
            if (number <= after)
                continue; // an earlier page ended in the middle of the pack
            page.end = number;
            add(change->key, change->value);
        }
        if (pack.empty())
            page.end = run.integer(0);
    }
    return page;
}

std::string ChangeJournal::value(const std::string& key) {
    Statement::Run run(value_);
    return run.bind(1, key).step() ? run.text(0) : std::string();
}

} // namespace propertyapi
