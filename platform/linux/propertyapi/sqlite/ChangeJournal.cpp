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

/// Fills a page with the changes of some keys after a number.
class PageWriter {
public:
    PageWriter(std::int64_t after, const ChangeJournal::Keys& keys) : keys_(keys) {
        page_.end = after;
    }

    bool isFull() const { return page_.changes.size() >= PAGE_CHANGES || bytes_ >= PAGE_BYTES; }
    void skip(std::int64_t number) { page_.end = number; }
    void add(std::string_view name, std::string_view value, std::int64_t number) {
        page_.end = number;
        const auto key = keys_.find(name);
        if (key == keys_.end())
            return;
        page_.changes.push_back({number, {*key, std::string(value)}});
        bytes_ += value.size();
    }
    /// previous: number of the row before that of the pack. last: its own.
    void addPack(std::string_view pack, std::int64_t previous, std::int64_t last) {
        if (previous < 0 || previous > last) // forged by another program
            return skip(last);
        for (std::int64_t number = previous; !isFull();) {
            const auto change = changepack::takeFirst(pack);
            // A forged one ends where its numbers do.
            const std::int64_t step = change ? schema::numbersOf(change->key, change->value) : 0;
            if (!change || step > last - number)
                return skip(last);
            number += step;
            if (number > page_.end) // an earlier page may have ended in the middle of the pack
                add(change->key, change->value, number);
        }
    }
    ChangeJournal::Page takePage() { return std::move(page_); }

private:
    const ChangeJournal::Keys& keys_;
    ChangeJournal::Page page_{};
    std::size_t bytes_ = 0;
};

} // namespace

ChangeJournal::ChangeJournal(std::unique_ptr<Database> database)
    : database_(std::move(database))
    , begin_(*database_, "BEGIN")
    , span_(*database_, "SELECT coalesce((SELECT previous FROM property_journal "
                        "ORDER BY sequence LIMIT 1), 0), "
                        "coalesce((SELECT max(sequence) FROM property_journal), 0)")
    // A key of another type may read like the text of another key.
    , changes_(*database_,
               "SELECT sequence, CASE typeof(key) WHEN 'text' THEN key END, value, previous, "
               "changes FROM property_journal WHERE sequence > ?1 ORDER BY sequence")
    , value_(*database_, "SELECT value FROM property WHERE key = ?1") {}

ChangeJournal::Span ChangeJournal::span() {
    Statement::Run run(span_);
    run.step();
    return {run.integer(0), run.integer(1)};
}

ChangeJournal::Page ChangeJournal::read(std::int64_t after, const Keys& keys) {
    PageWriter writer(after, keys);
    Statement::Run run(changes_);
    run.bind(1, after);
    while (!writer.isFull() && run.step())
        if (run.integer(4) != 1)
            writer.addPack(run.view(2), run.integer(3), run.integer(0));
        else if (run.isNull(1))
            writer.skip(run.integer(0));
        else
            writer.add(run.view(1), run.view(2), run.integer(0));
    return writer.takePage();
}

std::string ChangeJournal::value(const std::string& key) {
    Statement::Run run(value_);
    return run.bind(1, key).step() ? run.text(0) : std::string();
}

} // namespace propertyapi
