// SPDX-License-Identifier: Apache-2.0
#include "ChangeWriter.h"

#include "ChangePack.h"
#include "Database.h"
#include "Schema.h"

#include <limits>

namespace propertyapi {

namespace {

/// Far enough from the end that no change gets beyond it.
constexpr std::int64_t LARGEST_NUMBER = std::numeric_limits<std::int64_t>::max() / 2;

} // namespace

ChangeWriter::ChangeWriter(Database& database, std::int64_t journalBound)
    : journalBound_(journalBound)
    , readNewest_(database, "SELECT coalesce(max(sequence), 0) FROM property_journal")
    , emptyJournal_(database, "DELETE FROM property_journal")
    , append_(database, "INSERT INTO property_journal(sequence, previous, key, value, changes) "
                        "VALUES(?1, ?2, ?3, ?4, ?5)")
    , trim_(database, schema::trim(journalBound, "?1")) {
    database.disableTriggers();
}

void ChangeWriter::begin() {
    pack_.clear();
    count_ = 0;
    {
        Statement::Run run(readNewest_);
        run.step();
        newest_ = previous_ = begin_ = run.integer(0);
    }
    if (newest_ < LARGEST_NUMBER)
        return;
    // Forged: nobody gets there by counting. Subscribers get the current values.
    emptyJournal_.execute();
    newest_ = previous_ = begin_ = 0;
}

void ChangeWriter::note(const std::string& key, const std::string& value) {
    changepack::append(pack_, {key, value});
    newest_ += schema::numbersOf(key, value);
    ++count_;
    if (newest_ - previous_ >= schema::longestRow(journalBound_))
        writeRow();
}

void ChangeWriter::finish() {
    if (count_ > 0)
        writeRow();
    if (newest_ - begin_ > journalBound_ - schema::longestRow(journalBound_))
        overflow_.set({begin_, newest_});
}

void ChangeWriter::writeRow() {
    {
        Statement::Run run(append_);
        run.bind(1, newest_).bind(2, previous_).bind(5, count_);
        std::string_view pack = pack_;
        if (const auto change = count_ == 1 ? changepack::takeFirst(pack) : std::nullopt)
            run.bind(3, change->key).bind(4, change->value);
        else
            run.bind(4, pack_); // without a key
        run.step();
    }
    if (schema::isTrimDue(journalBound_, newest_, previous_))
        Statement::Run(trim_).bind(1, newest_).step();
    previous_ = newest_;
    pack_.clear();
    count_ = 0;
}

} // namespace propertyapi
