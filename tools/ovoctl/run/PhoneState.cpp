// SPDX-License-Identifier: Apache-2.0
#include "PhoneState.h"

#include "ProvisioningWatchdog/ReportDocument.h"
#include "ReportView.h"
#include "Vocabulary.h"
#include "ovoctl/Failure.h"
#include "paths/Paths.h"
#include "posix/Descriptor.h"
#include "propertyapi/sqlite/ReadOnlyStore.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace ovoctl {

namespace {

namespace keys = ovo::keys;
namespace values = ovo::values;

std::string lockPath() {
    return paths::toHost(std::string("/run/halden/") + ovo::bus::NAME + ".lock").text();
}

/// The number at the beginning of a file.
std::string numberIn(int file) {
    std::array<char, 16> buffer{};
    const ssize_t size = ::pread(file, buffer.data(), buffer.size(), 0);
    const std::string text(buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    return text.substr(0, text.find_first_not_of("0123456789"));
}

} // namespace

PhoneState PhoneState::read() {
    const auto found = propertyapi::ReadOnlyStore().find(
        {keys::PROVISIONING_ON_BOOT_UP, keys::PROVISIONING_IN_PROGRESS, keys::PROVISIONING,
         keys::PROVISIONING_HTTP_ERROR_CODE, keys::PROVISIONING_REPORT, keys::PROVISIONING_SERVER});
    const auto valueOf = [&](std::size_t index) {
        return found.at(index) ? found[index]->value : std::string();
    };
    return {valueOf(0) == values::DONE,
            valueOf(1) == values::ON,
            valueOf(2),
            valueOf(3),
            valueOf(4),
            valueOf(5)};
}

std::uint64_t PhoneState::lastRun() const {
    return ovo::ReportDocument::numberOf(report);
}

Json::Value PhoneState::parsedReport() const {
    if (report.empty())
        throw Unaskable("no run has left a report since the phone booted");
    return parseReport(report);
}

std::optional<std::string> findDaemon() {
    const std::string path = lockPath();
    const posix::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!file.isOpen()) {
        if (errno == ENOENT || errno == ENOTDIR)
            return std::nullopt;
        throw Unaskable("the daemon's lock " + path +
                        " cannot be looked at: " + std::strerror(errno));
    }
    // Shared: two who look at the same moment do not take each other for the daemon.
    if (::flock(file.get(), LOCK_SH | LOCK_NB) == 0)
        return std::nullopt;
    return numberIn(file.get());
}

void requireDaemon() {
    if (!findDaemon())
        throw Unaskable("no daemon runs below this root: nobody holds the lock " + lockPath());
}

} // namespace ovoctl
