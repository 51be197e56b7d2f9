// SPDX-License-Identifier: Apache-2.0
#include "ChangeJournal.h"

#include "ChangePack.h"
#include "JournalRule.h"
#include "Transaction.h"

#include <utility>

namespace propertyapi {

namespace {

/// A page ends with the row that reaches one of these; the changes of a row are never divided.
constexpr std::size_t PAGE_CHANGES = 256;
constexpr std::size_t PAGE_BYTES = 1 << 20;

} // namespace

ChangeJournal::ChangeJournal(std::unique_ptr<Database> database)
    : database_(std::move(database))
    , begin_(*database_, "BEGIN")
    , commit_(*database_, "COMMIT")
    , bounds_(*database_, "SELECT coalesce((SELECT value FROM property_meta "
                          "WHERE name = 'trimmed'), 0), " +
                              JournalRule::newest())
    , changes_(*database_, "SELECT sequence, key, value FROM property_change "
                           "WHERE sequence > ?1 ORDER BY sequence")
    , value_(*database_, "SELECT value FROM property WHERE key = ?1") {}

std::int64_t ChangeJournal::newest() {
    Statement::Run bounds(bounds_);
    return bounds.step() ? bounds.integer(1) : 0;
}

ChangeJournal::Page ChangeJournal::read(std::int64_t behind) {
    Page page{0, 0, {}};
    Transaction snapshot(*database_, begin_);
    {
        Statement::Run bounds(bounds_);
        if (bounds.step()) {
            page.trimmed = bounds.integer(0);
            page.newest = bounds.integer(1);
        }
    }
    if (page.newest > behind) {
        Statement::Run run(changes_);
        run.bind(1, behind);
        for (std::size_t bytes = 0;
             page.changes.size() < PAGE_CHANGES && bytes < PAGE_BYTES && run.step();) {
            const std::int64_t number = run.integer(0);
            std::string text = run.text(2);
            bytes += text.size();
            if (!run.isNull(1)) {
                page.changes.push_back({number, {run.text(1), std::move(text)}});
                continue;
            }
            for (Property& property : ChangePack::unpack(text))
                page.changes.push_back({number, std::move(property)});
        }
    }
    snapshot.commit(commit_);
    return page;
}

ChangeJournal::Values ChangeJournal::values(const std::vector<std::string>& keys) {
    Values values{0, {}};
    Transaction snapshot(*database_, begin_);
    values.newest = newest();
    for (const std::string& key : keys) {
        Statement::Run run(value_);
        values.properties.push_back({key, run.bind(1, key).step() ? run.text(0) : std::string()});
    }
    snapshot.commit(commit_);
    return values;
}

} // namespace propertyapi
