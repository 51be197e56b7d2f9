// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "JobHandlers/JobHandler.h"
#include "ProvisioningWatchdog/ProgressReporter.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ovo {

/// Writes a node of configuration parameters to the property store in one batch. Rules chosen by
/// the prefix of a name come first: locks of function keys, the VLAN lock, file names of ringtones.
class NVMJobHandler : public JobHandler {
public:
    NVMJobHandler(ProvisioningNode& node, std::shared_ptr<propertyapi::IPropertyApi> propertyApi,
                  ProgressReporter& reporter, RunReport& runReport);

    ProvisioningContext runImpl() override;
    ~NVMJobHandler() override = default;

    /// Turns every child of the node into one parameter or none. An exception skips the parameter
    /// that caused it; anything but a standard exception ends the process.
    void prepareNvmParams() noexcept;
    /// Routes one parameter through the first rule whose prefix begins its name.
    void addParameter(const std::string& name, const std::string& value);
    void prepareFunctionKeyParams(const std::string& name, const std::string& value);
    /// True unless the key's lock reads exactly "0".
    bool isFunctionKeyLocked(std::string index);
    bool isRingtoneParam(const std::string& name);
    /// Reduces the value, path or URL of a sound, to its file name; ".wav" becomes ".mp3".
    void prepareRingtoneParams(const std::string& name, const std::string& value);

private:
    struct ConditionalSetting {
        using Action = std::function<void(const std::string& name, const std::string& value)>;

        ConditionalSetting(std::string settingPrefix, Action settingAction)
            : prefix(std::move(settingPrefix)), action(std::move(settingAction)) {}

        std::string prefix;
        Action action;
    };

    bool isKnownAsLocked(const std::string& index);
    void addFunctionKeyParameter(const std::string& name, const std::string& value);
    void prepareVlanParams(const std::string& name, const std::string& value);
    void append(const std::string& name, const std::string& value);
    void refuse(const std::string& name, const std::string& why);
    void noteRefusal(const std::string& why);
    void noteFailedPreparation(std::string_view key, std::string_view value,
                               const char* why) noexcept;

    ProgressReporter& progressReporter;
    /// Accepted so far, in that order.
    std::vector<std::pair<std::string, std::string>> parameters;
    std::vector<ConditionalSetting> conditionalSettings;
    std::string firstRefusal;
    std::map<std::string, bool> functionKeyLocks; ///< by index, as far as they were read
};

} // namespace ovo
