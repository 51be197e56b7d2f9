// SPDX-License-Identifier: Apache-2.0
// The command itself: a sound phone, the forms of its output, and that it leaves no trace.

#include "SickPhone.h"
#include "support/process/ChildProcess.h"

#include <sys/stat.h>

#include <filesystem>
#include <regex>
#include <set>
#include <sstream>

namespace {

using testing::HasSubstr;
using testing::Not;

class Doctor : public SickPhone {
protected:
    /// Everything below the root but the time of the last look at it.
    std::map<std::string, std::string> everything() const {
        std::map<std::string, std::string> found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root.path())) {
            struct stat status {};
            EXPECT_EQ(::lstat(entry.path().c_str(), &status), 0);
            std::ostringstream text;
            text << status.st_ino << " " << status.st_mode << " " << status.st_size << " "
                 << status.st_mtim.tv_sec << "." << status.st_mtim.tv_nsec << " "
                 << status.st_ctim.tv_sec << "." << status.st_ctim.tv_nsec << " ";
            // Whoever has the store open notes in its index what he reads.
            const bool isIndex = entry.path().string().ends_with("-shm");
            if (isIndex)
                text.str(std::to_string(status.st_ino));
            else if (S_ISREG(status.st_mode))
                text << readHostFile(entry.path());
            found[entry.path()] = text.str();
        }
        return found;
    }
};

TEST_F(Doctor, FindsNothingOnASoundPhone) {
    const Visit sound = visit();
    EXPECT_EQ(sound.status, 0) << sound.output;
    std::set<std::string> checks;
    for (const DoctorLine& line : sound.lines) {
        checks.insert(line.check);
        EXPECT_EQ(line.level, "ok") << line.check << ": " << line.what;
        EXPECT_EQ(line.cure, "");
    }
    EXPECT_THAT(checks,
                testing::UnorderedElementsAre(
                    "daemon", "broker", "store", "store mode", "store log", "store integrity",
                    "store version", "store triggers", "phone configuration", "key file",
                    "directories", "free space", "clock", "trusted certificates",
                    "client certificate", "server", "proxy", "host name", "connection",
                    "TLS certificate 1", "TLS certificate 2", "TLS", "answer"));
}

TEST_F(Doctor, PrintsALineForEachCheck) {
    daemon.reset();
    const Finished finished = run({OVOCTL, "doctor"});
    EXPECT_EQ(finished.status, 1);
    std::istringstream lines(finished.output);
    static const std::regex FORM("(ok     |warning|error  ) [A-Za-z0-9/ ]+: .+");
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count)
        EXPECT_TRUE(std::regex_match(line, FORM)) << line;
    EXPECT_EQ(count, visit().lines.size());
    EXPECT_THAT(finished.output,
                HasSubstr("error   daemon: none runs below this root: nobody holds the lock " +
                          root.host("/run/halden/prov-client.lock") + "; start ovo"));
}

TEST_F(Doctor, GoesOnAfterEveryError) {
    std::filesystem::remove_all(root.path());
    std::filesystem::create_directory(root.path());
    const Visit empty = visit();
    EXPECT_EQ(empty.status, 1);
    for (const char* check : {"daemon", "broker", "store", "phone configuration", "key file"})
        EXPECT_EQ(empty.of(check).at(0).level, "error") << check;
    expectSkipped(empty,
                  {"store mode", "store log", "store integrity", "store version", "store triggers",
                   "server", "proxy", "host name", "connection", "TLS", "answer"});
    EXPECT_TRUE(std::filesystem::is_empty(root.path()));
}

TEST_F(Doctor, LeavesNoTrace) {
    // Something is wrong in every place that somebody could be tempted to repair.
    mode(KEY, 0644);
    mode(STORE, 0644);
    const TestIdentity client = ca.issueClient("phone");
    root.write("/data/certs/client/user_cert.pem", client.certificate);
    root.write("/data/certs/client/user_key.pem", client.key);
    const auto before = everything();
    EXPECT_EQ(visit().status, 1);
    EXPECT_EQ(everything(), before);
    {
        propertyapi::SqlitePropertyApi store;
        store.setValue("Some.Key", "value");
        const auto inUse = everything();
        EXPECT_EQ(visit().status, 1);
        EXPECT_EQ(everything(), inUse);
    }
    std::filesystem::resize_file(root.host(STORE), 5000);
    const auto damaged = everything();
    EXPECT_EQ(visit().status, 1);
    EXPECT_EQ(everything(), damaged);
}

TEST_F(Doctor, PrintsNoSecret) {
    serve("auth_basic x; auth_basic_user_file @DIR@/users;");
    nginx->put("users", "nobody:x\n");
    set({{"System.Security.HTTPAuthUsername", "user"},
         {"System.Security.HTTPAuthPassword", SECRET},
         {"System.Provision.FactoryAuthUsername", "factory"},
         {"System.Provision.FactoryAuthPassword", std::string(SECRET) + "-2"}});
    std::string url = nginx->tlsUrl("/phone.xml");
    url.insert(url.find("://") + 3, "user:" + std::string(SECRET) + "-3@");
    const Visit given = visit({url});
    expect(given, "answer", "error", "status 401: the server refuses the factory credentials");
    EXPECT_THAT(given.output, Not(HasSubstr(SECRET)));
    const std::string proxy = "http://user:" + std::string(SECRET) + "@127.0.0.1:1/";
    EXPECT_THAT(visit({url}, {{"https_proxy", proxy}}).output, Not(HasSubstr(SECRET)));
    set({{"System.Provision.ProvisioningServer", url}});
    EXPECT_THAT(run({OVOCTL, "doctor"}).output, Not(HasSubstr(SECRET)));
    set({{"System.Provision.ProvisioningServer", "//user:" + std::string(SECRET) + "@nowhere"}});
    EXPECT_THAT(run({OVOCTL, "doctor"}).output, Not(HasSubstr(SECRET)));
}

TEST_F(Doctor, RefusesWhatIsNoUrl) {
    const Visit refused = visit({"no url"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_TRUE(refused.lines.empty());
    EXPECT_EQ(visit({"http://a/", "more"}).status, 2);
}

} // namespace
