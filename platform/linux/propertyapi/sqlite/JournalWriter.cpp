#include "JournalWriter.h"

#include "Database.h"
#include "Schema.h"

namespace propertyapi {

namespace {

/// A pack is written when it has reached this: readers hold one at a time in memory.
constexpr std::size_t PACK_BYTES = std::size_t{64} << 10U;
constexpr std::int64_t KIB = 1024;

} // namespace

JournalWriter::JournalWriter(Database& database, std::int64_t bound)
    : database_(database)
    , bound_(bound)
    , newest_(database, "SELECT coalesce(max(sequence), 0) FROM property_change")
    , insert_(database, "INSERT INTO property_change(sequence, key, value) VALUES(?1, ?2, ?3)")
    , insertPack_(database,
                  "INSERT INTO property_change(sequence, key, value) VALUES(?1, NULL, ?2)")
    , noteTrimmed_(database, "UPDATE property_meta SET value = coalesce((SELECT max(sequence) FROM "
                             "property_change WHERE sequence <= ?1), value) WHERE name = 'trimmed'")
    , deleteTrimmed_(database, "DELETE FROM property_change WHERE sequence <= ?1") {
    database_.disableTriggers();
}

void JournalWriter::reset() {
    pack_.clear();
}

void JournalWriter::note(const std::string& key, const std::string& value) {
    if (pack_.count() == 0) {
        firstKey_ = key;
        firstValue_ = value;
    }
    pack_.append(key, value);
    if (pack_.text().size() >= PACK_BYTES)
        writePack();
}

void JournalWriter::finish() {
    if (pack_.count() > 0)
        writePack();
}

void JournalWriter::writePack() {
    const bool single = pack_.count() == 1;
    const std::string& text = single ? firstValue_ : pack_.text();
    std::int64_t sequence = 1;
    {
        Statement::Run run(newest_);
        if (run.step())
            sequence += run.integer(0);
    }
    // As the triggers count: one, and one for each KiB.
    const std::int64_t grown = static_cast<std::int64_t>(text.size()) / KIB;
    sequence += grown;
    if (single)
        Statement::Run(insert_).bind(1, sequence).bind(2, firstKey_).bind(3, text).step();
    else
        Statement::Run(insertPack_).bind(1, sequence).bind(2, text).step();
    trim(sequence, grown);
    pack_.clear();
}

/// In steps, as the triggers do it.
void JournalWriter::trim(std::int64_t newest, std::int64_t grown) {
    if (newest % schema::trimStep(bound_) > grown)
        return;
    Statement::Run(noteTrimmed_).bind(1, newest - bound_).step();
    Statement::Run(deleteTrimmed_).bind(1, newest - bound_).step();
}

} // namespace propertyapi
