// SPDX-License-Identifier: Apache-2.0
#include "PhoneChecks.h"

#include "Directories.h"
#include "Examination.h"
#include "Vocabulary.h"
#include "app/Environment.h"
#include "common/WallClock.h"
#include "filesystem/Filesystem.h"
#include "http/Secret.h"
#include "ovoctl/Failure.h"
#include "ovoctl/bus/Bus.h"
#include "ovoctl/run/PhoneState.h"
#include "ovoctl/support/FileMode.h"
#include "paths/Paths.h"
#include "phoneconfig/json/JsonPhoneConfig.h"
#include "posix/LibraryDate.h"
#include "security/openssl/SaltedText.h"
#include "text/Number.h"
#include "text/Quote.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <limits>
#include <set>

namespace ovoctl {

namespace {

using posix::FileStamp;
using posix::HostPath;

constexpr const char* CONFIGURATION_FILE = "/etc/phoneconfig.json";

// Bytes of room.
constexpr std::uint64_t NO_ROOM = 1ULL << 20U;
constexpr std::uint64_t LITTLE_ROOM = 16ULL << 20U;

// Seconds since 1970.
constexpr std::int64_t YEAR_2024 = 1'704'067'200;
constexpr std::int64_t YEAR_2100 = 4'102'444'800;

/// Directories that the daemon writes files to.
const std::vector<std::string>& writtenDirectories() {
    using ovo::Directories;
    static const std::vector<std::string> PATHS{Directories::WORKING_ROOT,
                                                Directories::FIRMWARE,
                                                Directories::NVM,
                                                Directories::CUSTOM,
                                                Directories::PROVISIONING,
                                                Directories::CERTIFICATES,
                                                Directories::CERTIFICATE_STORAGE,
                                                Directories::CLIENT_CERTIFICATES,
                                                Directories::WALLPAPERS,
                                                Directories::FIRMWARE_UPDATES,
                                                Directories::CONTACTS,
                                                "/run/halden/"};
    return PATHS;
}

std::string withoutSlash(std::string path) {
    path.erase(path.find_last_not_of('/') + 1);
    return path;
}

/// The directory, or what is there of the way to it.
HostPath existing(const std::string& directory) {
    std::string path = withoutSlash(paths::toHost(directory).text());
    while (path.size() > 1 && FileStamp::of(HostPath(path)).isMissing())
        path.erase(std::max<std::size_t>(path.rfind('/'), 1));
    return HostPath(path);
}

/// True when the directory is as the daemon needs it.
bool examineDirectory(Examination& examination, const std::string& directory) {
    const std::string check = "directory " + directory;
    const HostPath path = existing(directory);
    const bool isThere = path.text() == withoutSlash(paths::toHost(directory).text());
    const FileStamp stamp = FileStamp::of(path);
    if (stamp.error != 0)
        examination.fail(check, path.text() + ": " + std::strerror(stamp.error),
                         "remove what is in its place");
    else if (!S_ISDIR(stamp.mode))
        examination.fail(check, path.text() + " is not a directory", "remove what is in its place");
    else if (isThere && !filesystem::doesDirectoryExist(directory))
        examination.fail(check, path.text() + " is reached through a symbolic link",
                         "make a directory in the place of the link: the daemon writes through "
                         "none");
    else if (::faccessat(AT_FDCWD, path.c_str(), W_OK | X_OK, AT_EACCESS) != 0)
        examination.fail(check, path.text() + " cannot be written to: " + std::strerror(errno),
                         "let the daemon's user write there (this was tried as the present user)");
    else if ((stamp.mode & S_IWOTH) != 0 && (stamp.mode & S_ISVTX) == 0)
        examination.warn(check, path.text() + " can be written by everybody: mode " + modeOf(stamp),
                         "chmod 0775 it");
    else
        return true;
    return false;
}

struct Room {
    HostPath path;
    std::uint64_t bytes = std::numeric_limits<std::uint64_t>::max();
    bool hasFiles = true; ///< further ones can be made
};

Room roomAt(const std::string& directory) {
    Room room{existing(directory)};
    struct statvfs system {};
    if (::statvfs(room.path.c_str(), &system) != 0)
        throw Unaskable(room.path.text() + ": " + std::strerror(errno));
    room.bytes = std::uint64_t{system.f_bavail} * system.f_frsize;
    room.hasFiles = system.f_files == 0 || system.f_favail > 0;
    return room;
}

std::string inMebibytes(std::uint64_t bytes) {
    return std::to_string(bytes >> 20U) + " MiB";
}

bool isNumber(const std::string& text) {
    const auto number = parseNumber<std::uint64_t>(text);
    return number.has_value();
}

bool examineSettings(Examination& examination, const phoneconfig::IPhoneConfig& configuration) {
    namespace names = ovo::configuration;
    const char* const check = "phone configuration";
    const std::string file = paths::toHost(CONFIGURATION_FILE).text();
    bool isGood = true;
    for (const char* key : {names::MAJOR_ID, names::CREDENTIAL_REQUEST_TIMEOUT})
        if (configuration.getValue(key).empty()) {
            isGood = false;
            examination.fail(check, file + ": " + key + " is missing", "add it as a text");
        }
    for (const char* key : {names::CREDENTIAL_REQUEST_TIMEOUT, "networking.download.ConnectTimeout",
                            "networking.download.StallTimeout", "networking.download.MaxBytes",
                            "networking.curl.DnsCacheTimeout"}) {
        const std::string value = configuration.getValue(key);
        if (!value.empty() && !isNumber(value)) {
            isGood = false;
            examination.fail(check, file + ": " + key + " is " + quote(value) + ", not a number",
                             "write a number in decimal digits");
        }
    }
    return isGood;
}

} // namespace

void checkDaemon(Examination& examination) {
    const auto process = findDaemon();
    if (!process)
        examination.fail(
            "daemon",
            "none runs below this root: nobody holds the lock " +
                paths::toHost(std::string("/run/halden/") + ovo::bus::NAME + ".lock").text(),
            "start ovo, or correct HALDEN_ROOT");
    else
        examination.fine("daemon",
                         "runs" + (process->empty() ? "" : " (process " + *process + ")"));
}

void checkBroker(Examination& examination) {
    const std::string address = app::Environment::read().busAddress;
    try {
        const Bus bus({ovo::bus::destinations::MONITOR},
                      Bus::Clock::now() + Examination::TIME_LIMIT);
        if (bus.refusedTopics().empty())
            examination.fine("broker", address + " takes connections and subscriptions");
        else
            examination.fail(
                "broker", address + " refuses the subscription to " + bus.refusedTopics().front(),
                "allow it in the broker's access lists");
    } catch (const std::runtime_error& error) {
        examination.fail("broker", error.what(),
                         "start the broker, or correct HALDEN_BUS and its configuration");
    }
}

void checkPhoneConfiguration(Examination& examination) {
    const char* const check = "phone configuration";
    const HostPath path = paths::toHost(CONFIGURATION_FILE);
    if (FileStamp::of(path).isMissing()) {
        examination.fail(check, path.text() + " does not exist",
                         "write it: one JSON object of texts");
        return;
    }
    try {
        examination.phoneConfig = std::make_shared<phoneconfig::JsonPhoneConfig>();
    } catch (const std::runtime_error& error) {
        examination.fail(check, path.text() + ": " + error.what(),
                         "correct it: the daemon goes on without any of it");
        return;
    }
    if (examineSettings(examination, *examination.phoneConfig))
        examination.fine(check, path.text() + " has what is needed");
}

void checkKeyFile(Examination& examination) {
    const char* const check = "key file";
    const HostPath path = paths::toHost(ovo::Files::KEY);
    const FileStamp stamp = FileStamp::of(path);
    if (stamp.isMissing()) {
        examination.fail(
            check, path.text() + " does not exist",
            "write the key of the provisioning files into it (ovoctl keygen makes one)");
        return;
    }
    http::Secret content;
    try {
        content = filesystem::read(ovo::Files::KEY, security::salted::MAX_KEY_FILE_BYTES);
    } catch (const std::runtime_error& error) {
        examination.fail(check, path.text() + ": " + error.what(), "let the daemon's user read it");
        return;
    }
    const std::string_view text = content.text();
    const std::string_view key = security::salted::passwordOf(text);
    if (key.empty())
        examination.fail(check, path.text() + ": the first line is empty",
                         "write the key into the first line");
    else if (isOpenToOthers(stamp))
        examination.warn(check, path.text() + " is open to others: mode " + modeOf(stamp),
                         "set its mode to 0600");
    else if (text.size() > key.size() + 1)
        examination.warn(check, path.text() + " has more than one line",
                         "keep the first line, which alone is the key");
    else if (key.ends_with('\r'))
        examination.warn(check, path.text() + ": the line ends with a carriage return",
                         "remove it, unless the files were encrypted with it");
    else
        examination.fine(check, path.text() + " holds one line");
}

void checkDirectories(Examination& examination) {
    bool areGood = true;
    for (const std::string& directory : writtenDirectories())
        areGood = examineDirectory(examination, directory) && areGood;
    if (areGood)
        examination.fine("directories", "those that the daemon writes to are there or can be made");
}

void checkSpace(Examination& examination) {
    const char* const check = "free space";
    std::set<std::uint64_t> seen;
    Room least;
    bool isGood = true;
    for (const std::string& directory : writtenDirectories()) {
        const Room room = roomAt(directory);
        if (!seen.insert(FileStamp::of(room.path).id.device).second)
            continue;
        const std::string where = " on the file system of " + room.path.text();
        if (room.bytes < NO_ROOM || !room.hasFiles)
            examination.fail(check,
                             room.hasFiles ? inMebibytes(room.bytes) + where
                                           : "no further file can be made" + where,
                             "remove files there");
        else if (room.bytes < LITTLE_ROOM)
            examination.warn(check, inMebibytes(room.bytes) + where,
                             "remove files there: firmware needs more");
        isGood = isGood && room.bytes >= LITTLE_ROOM && room.hasFiles;
        if (room.bytes <= least.bytes)
            least = room;
    }
    if (isGood)
        examination.fine(check, inMebibytes(least.bytes) + " at least");
}

void checkClock(Examination& examination) {
    const FileStamp program = FileStamp::of(HostPath("/proc/self/exe"));
    const std::time_t now = std::chrono::system_clock::to_time_t(common::WallClock::now());
    if (posix::isDateKnownToLibraries())
        judgeClock(examination, now, program.modifiedSeconds);
    else
        examination.fail("clock",
                         "the date is after January 2038, where the times of this system's "
                         "libraries end",
                         "set the clock if it is wrong; otherwise HTTPS does not work here");
}

void judgeClock(Examination& examination, std::int64_t now, std::int64_t installed) {
    const auto seconds = static_cast<std::time_t>(now);
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S UTC", &parts);
    const std::string cure = "set the clock: certificates are judged by it";
    if (now < YEAR_2024)
        examination.fail("clock", std::string(text.data()) + " is before 2024", cure);
    else if (now < installed)
        examination.fail("clock", std::string(text.data()) + " is before this program was built",
                         cure);
    else if (now >= YEAR_2100)
        examination.fail("clock", std::string(text.data()) + " is after 2100", cure);
    else
        examination.fine("clock", text.data());
}

} // namespace ovoctl
