// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace propertyapi {

/// How the journal of changes is numbered and trimmed, in SQL: the triggers, which keep the journal
/// for all other programs, and ChangeWriter are made of the same pieces.
///
/// The number of a change is its property_change.sequence. Numbers rise in commit order, by one and
/// by the size of the value in KiB, so that keeping a range of them bounds the journal's rows and
/// its bytes. None comes again: property_meta.trimmed is the highest number that was deleted.
class JournalRule {
public:
    /// bound: how many changes the journal keeps at least.
    explicit JournalRule(std::int64_t bound);

    /// The highest number given so far, also where somebody has emptied the journal; 0: none.
    static std::string newest();
    /// The number of a change that is about to be noted. value: a term, as in what follows.
    static std::string next(const std::string& value);
    /// True when the journal is to be trimmed after the change with that number: in steps, as one
    /// row at a time would write both ends of the journal with each change.
    std::string isTrimDue(const std::string& number, const std::string& value) const;
    /// The two statements of trimming after the change with that number. It is never deleted.
    std::string noteTrimmed(const std::string& number) const;
    std::string trim(const std::string& number) const;

private:
    const std::string bound_;
    const std::string step_;
};

} // namespace propertyapi
