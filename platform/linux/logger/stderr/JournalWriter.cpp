// SPDX-License-Identifier: Apache-2.0
#include "JournalWriter.h"

#include "logger/Logger.h"
#include "systemd/Datagram.h"

#include <errno.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace logger {

namespace {

constexpr const char* JOURNAL_SOCKET = "/run/systemd/journal/socket";

int priority(int level) {
    if (level <= PROGRESS)
        return LOG_INFO;
    return level == NOTABLE ? LOG_WARNING : LOG_ERR;
}

} // namespace

bool JournalWriter::isStderrTheJournal() {
    // systemd names device and inode of the stream that it connected to the journal. Standard error
    // may have been redirected since.
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat status {};
    if (stream == nullptr || ::fstat(STDERR_FILENO, &status) != 0)
        return false;
    return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream &&
           ::access(JOURNAL_SOCKET, W_OK) == 0;
}

bool JournalWriter::write(const Record& record, std::string_view text) {
    std::string entry;
    const auto add = [&entry](const char* field, std::string_view value) {
        entry.append(field).append(1, '=').append(value).append(1, '\n');
    };
    add("MESSAGE", text);
    add("PRIORITY", std::to_string(priority(record.level)));
    add("SYSLOG_IDENTIFIER", program_invocation_short_name);
    add("CODE_FILE", record.source);
    add("CODE_LINE", std::to_string(record.line));
    return !systemd::sendDatagram(JOURNAL_SOCKET, entry);
}

} // namespace logger
