// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Plan.h"
#include "ProvisioningWatchdog/IRunRecord.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace ovoctl {

/// Writes a plan down while a run works: what the run decides, and what the recording interfaces
/// are asked to do, each in the innermost level that is open. Values come in as they are and are
/// masked here. Not synchronised: for the thread of the run, and for the one that starts it while
/// there is none.
class PlanRecorder : public ovo::IRunRecord {
public:
    /// plan outlives the recorder.
    explicit PlanRecorder(Plan& plan) : plan_(plan) {}

    void fileBegins(const std::string& url) override;
    void fileFetched(int httpStatus, std::uint64_t bytes) override;
    void fileEnds(const std::string& status) override;
    void jobBegins(const std::string& element) override;
    void jobIs(const std::string& handler) override;
    void jobEnds(const std::string& status) override;
    void stepBegins() override;
    void stepIs(const std::string& type) override;
    void stepEnds(const std::string& status) override;
    void requested(std::size_t count) override;
    void attempted(std::size_t count) override;
    void applied(std::size_t count) override;
    void refused(const std::string& name, const std::string& why) override;
    void firmware(const std::string& installed, const std::string& offered,
                  const std::string& decision) override;
    void failed(const std::string& cause) override;
    void remarked(const std::string& remark) override;

    /// A write of one property by itself.
    void property(PlannedProperty property);
    /// A write as a part of the job's batch.
    void parameter(PlannedProperty property);
    void message(PlannedMessage message);
    void download(PlannedDownload download);

private:
    PlannedActions& actions();
    void add(PlannedAction action) { actions().push_back(std::move(action)); }

    Plan& plan_;
    PlannedFile* file_ = nullptr; ///< the open one
    PlannedJob* job_ = nullptr;
    PlannedStep* step_ = nullptr;
};

} // namespace ovoctl
