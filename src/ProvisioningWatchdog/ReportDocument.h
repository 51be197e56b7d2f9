// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ProvisioningWatchdog/IRunRecord.h"

#include <json/value.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace ovo {

/// What a run did, as a JSON object of at most 64 KiB, however large the run: files, in them jobs,
/// in them refused parameters and steps. What no longer fits is left out, successes first, and the
/// object whose list is not whole says "cut": true. Long texts are shortened, and passwords in URLs
/// masked. Otherwise it holds what it is told: who tells keeps values of parameters and keys away.
/// Not synchronised.
class ReportDocument : public IRunRecord {
public:
    /// Bytes of the whole text.
    static constexpr std::size_t LARGEST = std::size_t{64} << 10U;

    /// Number of the run that a text is about; 0 where it is none of ours.
    static std::uint64_t numberOf(const std::string& text);
    /// A URL as documents show it.
    static std::string shownUrl(const std::string& url);

    /// number: of the run. url: without credentials.
    void begin(std::uint64_t number, const std::string& url,
               std::chrono::system_clock::time_point started);

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
    /// Something could not be noted.
    void omit() noexcept { isCut = true; }

    /// The text of a run that has ended. cause: empty on success.
    std::string end(const std::string& result, int httpStatus, const std::string& cause,
                    std::chrono::duration<double> seconds);

private:
    struct Level {
        Json::Value value;
        std::size_t listed = 0; ///< bytes of what its lists hold
        bool isOpen = false;

        void open();
    };

    void append(Level& parent, const char* list, const Json::Value& entry, std::size_t limit);
    void close(Level& level, const std::string& status, Level& parent, const char* list);

    Level run;
    Level file;
    Level job;
    Level step;
    bool isCut = false;
};

} // namespace ovo
