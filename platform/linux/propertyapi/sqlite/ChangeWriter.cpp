// SPDX-License-Identifier: Apache-2.0
#include "ChangeWriter.h"

#include "Database.h"
#include "JournalRule.h"

namespace propertyapi {

namespace {

/// A pack is written when it has reached this: readers hold one at a time in memory.
constexpr std::size_t PACK_BYTES = std::size_t{64} << 10U;

} // namespace

ChangeWriter::ChangeWriter(Database& database, std::int64_t bound)
    : database_(database)
    , insert_(database, "INSERT INTO property_change(sequence, key, value) VALUES(" +
                            JournalRule::next("?2") + ", ?1, ?2) RETURNING sequence, " +
                            JournalRule(bound).isTrimDue("sequence", "value"))
    , noteTrimmed_(database, JournalRule(bound).noteTrimmed("?1"))
    , trim_(database, JournalRule(bound).trim("?1")) {
    database_.disableTriggers();
}

void ChangeWriter::reset() {
    pack_.clear();
}

void ChangeWriter::note(const std::string& key, const std::string& value) {
    if (pack_.count() == 0) {
        firstKey_ = key;
        firstValue_ = value;
    }
    pack_.append(key, value);
    if (pack_.text().size() >= PACK_BYTES)
        writePack();
}

void ChangeWriter::finish() {
    if (pack_.count() > 0)
        writePack();
}

void ChangeWriter::writePack() {
    std::int64_t number = 0;
    bool isTrimDue = false;
    {
        Statement::Run run(insert_);
        if (pack_.count() == 1)
            run.bind(1, firstKey_).bind(2, firstValue_);
        else
            run.bind(2, pack_.text()); // without a key
        if (run.step()) {
            number = run.integer(0);
            isTrimDue = run.integer(1) != 0;
        }
    }
    if (isTrimDue) {
        Statement::Run(noteTrimmed_).bind(1, number).step();
        Statement::Run(trim_).bind(1, number).step();
    }
    pack_.clear();
}

} // namespace propertyapi
