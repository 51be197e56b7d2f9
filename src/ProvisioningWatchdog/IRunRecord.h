// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace ovo {

/// Takes down what a run decides, in levels: files, in them jobs, in them steps. A level begins
/// within the one before it, and ends with those that are still open in it. Texts are for people
/// and hold no credentials and no values of parameters. On the thread of the run.
class IRunRecord {
public:
    virtual ~IRunRecord() = default;

    /// url: without credentials.
    virtual void fileBegins(const std::string& url) = 0;
    virtual void fileFetched(int httpStatus, std::uint64_t bytes) = 0;
    virtual void fileEnds(const std::string& status) = 0;
    virtual void jobBegins(const std::string& element) = 0;
    /// Which handler does the job.
    virtual void jobIs(const std::string& handler) = 0;
    virtual void jobEnds(const std::string& status) = 0;
    virtual void stepBegins() = 0;
    virtual void stepIs(const std::string& type) = 0;
    virtual void stepEnds(const std::string& status) = 0;

    /// Counters of the job's parameters.
    virtual void requested(std::size_t count) = 0;
    virtual void attempted(std::size_t count) = 0;
    virtual void applied(std::size_t count) = 0;
    virtual void refused(const std::string& name, const std::string& why) = 0;
    /// Versions of the firmware, and what was made of them.
    virtual void firmware(const std::string& installed, const std::string& offered,
                          const std::string& decision) = 0;
    /// The cause of each open level that has none yet.
    virtual void failed(const std::string& cause) = 0;
    /// What is no failure and ought to be known of the innermost open level. The first one of a
    /// level counts.
    virtual void remarked(const std::string& remark) = 0;
};

} // namespace ovo
