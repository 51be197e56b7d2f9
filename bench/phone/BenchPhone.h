// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "PropertyTable.h"
#include "support/http/Nginx.h"
#include "support/http/TestCa.h"
#include "support/ipc/Broker.h"
#include "support/ipc/BusPeer.h"
#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace bench {

/// A phone with the real daemon, broker, web server (with and without TLS) and store, and the
/// reference program with a store of its own beside it. The phone's volatile directory is in
/// memory, both stores are on the disk. One at a time; one thread.
class BenchPhone {
public:
    BenchPhone();
    ~BenchPhone();
    BenchPhone(const BenchPhone&) = delete;
    BenchPhone& operator=(const BenchPhone&) = delete;

    /// Puts two files of so many parameters on the server, encrypted: all values differ.
    void publishParameters(int count) const;
    std::string parameters(int count, int variant, bool isEncryptedConnection) const;
    /// So many further keys in both stores; before either program was started.
    void fillStores(int keys) const;

    /// Starts the daemon, by a wrapper ("strace", its options) where one is given, and waits for
    /// the run of the boot, which has ten parameters.
    void startDaemon(std::vector<std::string> wrapper = {},
                     const std::map<std::string, std::string>& environment = {});
    /// Starts it alone: ms until it answers its first request.
    double timeStart();
    void stopDaemon();
    pid_t daemon() const { return daemon_->pid(); }
    /// A run: ms from the trigger on the bus to its end on the bus and to its report, which is in
    /// the store right before the result. Throws std::runtime_error when the result is another one
    /// than "success" and that is wanted.
    double run(const std::string& url, bool succeeds = true);

    /// When the last run or answer of the reference ended.
    std::chrono::steady_clock::time_point lastEnd() const { return lastEnd_; }

    /// database: empty: its own.
    void startReference(const std::string& database = {}, std::vector<std::string> wrapper = {});
    double timeReferenceStart();
    void stopReference() { reference_.reset(); }
    pid_t reference() const { return reference_->pid(); }
    /// ms from the trigger to the answer on the bus.
    double referenceRun(const std::string& url) { return askReference("run " + url); }
    double askReference(const std::string& request);
    /// What it said last.
    std::string referenceAnswer() const;

    /// The reference with the required steps: it has a store of its own, and its file and its log
    /// are in memory, as the daemon's are.
    void startSteps();
    /// Before it is started alone.
    void prepareSteps();
    /// Starts it alone: ms until it answers its first request.
    double timeStepsStart();
    void stopSteps() { steps_.reset(); }
    /// As run().
    double stepsRun(const std::string& url);

    const Nginx& server() const { return *server_; }
    BusPeer& bus() { return bus_; }
    const PropertyTable& store() const { return *store_; }
    const PhoneRoot& root() const { return root_; }
    std::string referenceStore() const { return root_.host("/reference.db"); }
    std::string caBundle() const { return root_.host("/etc/ssl/certs/authority.pem"); }
    static std::string daemonProgram();

private:
    /// Who is told to run, and where that can be seen.
    struct Runner {
        const char* request; ///< the topic
        const char* status;  ///< the topic
        const PropertyTable& store;
    };
    double timeRun(const Runner& runner, const std::string& url, bool succeeds);
    /// ms until now, which is noted.
    double endOf(std::chrono::steady_clock::time_point begin);
    void execSteps();
    std::vector<std::string> referenceCommand(const std::string& database) const;

    std::chrono::steady_clock::time_point lastEnd_;
    PhoneRoot root_;
    std::string volatile_; ///< in memory: what is volatile on a phone, and the log
    Broker broker_;
    BusPeer bus_;
    TestCa ca_;
    std::unique_ptr<Nginx> server_;
    std::unique_ptr<PropertyTable> store_;
    std::unique_ptr<ChildProcess> daemon_;
    std::unique_ptr<ChildProcess> reference_;
    std::unique_ptr<PropertyTable> stepsStore_;
    std::unique_ptr<ChildProcess> steps_;
};

} // namespace bench
