// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace logger {

struct Record;

/// Writes entries to the systemd journal, with level, source file and line as fields of their own.
/// Any thread.
class JournalWriter {
public:
    /// True when systemd connected standard error to the journal and the journal can be reached.
    static bool isStderrTheJournal();

    /// text: the record's text without control characters. False when the journal does not accept
    /// the entry: it is not running, or the entry is too long.
    static bool write(const Record& record, std::string_view text);
};

} // namespace logger
