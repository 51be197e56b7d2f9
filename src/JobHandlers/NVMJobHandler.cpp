// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/NVMJobHandler.h"

#include "JobHandlers/InvalidFormatException.h"
#include "JobHandlers/XMLNodeType.h"
#include "Vocabulary.h"
#include "logger/Logger.h"
#include "text/Quote.h"

#include <algorithm>
#include <stdexcept>

namespace ovo {

namespace {

constexpr std::string_view UNREAD = "???";

/// A phone has fewer function keys; a file may name any number.
constexpr std::size_t MOST_KNOWN_LOCKS = 256;

const std::string INVALID_NAME = "Function key parameter name invalid ";

bool contains(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

/// "PhoneUI.Keys.FunctionKeys.12.Label" -> ("12", "Label").
std::pair<std::string, std::string> getIndexAndPostfix(const std::string& name,
                                                       const std::string& prefix) {
    const auto start = prefix.size();
    const auto dot = name.find('.', start);
    if (dot == std::string::npos)
        throw InvalidFormatException(INVALID_NAME + quote(name));
    return {name.substr(start, dot - start), name.substr(dot + 1)};
}

/// Throws a standard exception unless the index of the key is a number.
void requireNumericKeyIndex(const std::string& name) {
    const std::string index = getIndexAndPostfix(name, keys::FUNCTION_KEY_PARAMETERS).first;
    try {
        static_cast<void>(std::stoi(index));
    } catch (const std::logic_error&) {
        throw InvalidFormatException(INVALID_NAME + quote(name));
    }
}

} // namespace

NVMJobHandler::NVMJobHandler(ProvisioningNode& jobNode,
                             std::shared_ptr<propertyapi::IPropertyApi> store,
                             ProgressReporter& reporter, RunReport& runReport)
    : JobHandler(jobNode, std::move(store), runReport), progressReporter(reporter) {
    name = "NVMJobHandler";

    const auto functionKey = [this](const std::string& key, const std::string& value) {
        addFunctionKeyParameter(key, value);
    };
    const auto vlan = [this](const std::string& key, const std::string& value) {
        prepareVlanParams(key, value);
    };
    const auto ringtone = [this](const std::string& key, const std::string& value) {
        if (isRingtoneParam(key))
            prepareRingtoneParams(key, value);
        else
            append(key, value);
    };
    conditionalSettings = {{keys::FUNCTION_KEY_PARAMETERS, functionKey},
                           {keys::VLAN, vlan},
                           {keys::SIP_ACCOUNT, ringtone},
                           {keys::ONE_MELODY, ringtone},
                           {keys::DEFAULT_RINGTONE, ringtone}};
}

ProvisioningContext NVMJobHandler::runImpl() {
    auto status = ProvisioningStatus::Fail;
    const std::size_t requested = node.children.size();
    report.parametersRequested(requested);
    parameters.reserve(requested);
    prepareNvmParams();
    const bool isWhole = !report.isCancelled(); // all of them are set or none
    if (isWhole && parameters.empty()) {
        report.failed("no parameter is left to be set: " + firstRefusal);
    } else if (isWhole) {
        report.parametersAttempted(parameters.size());
        try {
            const unsigned int applied = propertyApi->setValues(parameters, values::ORIGIN);
            report.parametersApplied(applied);
            LOG(1) << "Parameters requested: " << requested << ", attempted: " << parameters.size()
                   << ", new parameters applied: " << applied;
            status = ProvisioningStatus::Success;
        } catch (const std::exception& exception) {
            LOG(1) << "None of parameters set: " << exception.what();
            report.failed(exception.what());
        }
    }
    progressReporter.doProgress();
    return ProvisioningContext(status);
}

void NVMJobHandler::prepareNvmParams() noexcept {
    // Take every parameter in turn, so that only the batch costs memory for each.
    std::string heldKey;
    std::string heldValue;
    for (const ProvisioningNode::Attributes child : node.children) {
        if (report.isCancelled())
            return;
        try {
            heldKey.assign(child.at(XMLParser::NVM_SETTINGS_PARAM_ATTR_NAME_STR));
            heldValue.assign(child.at(XMLParser::NVM_SETTINGS_PARAM_ATTR_VALUE_STR));
            addParameter(heldKey, heldValue);
        } catch (const std::exception& exception) {
            // Looked for once more: a view that had another value before it was assigned the result
            // of at() loses that when at() throws, with g++ 12 for ARM.
            const auto key = child.find(XMLParser::NVM_SETTINGS_PARAM_ATTR_NAME_STR);
            const auto value =
                key ? child.find(XMLParser::NVM_SETTINGS_PARAM_ATTR_VALUE_STR) : std::nullopt;
            noteFailedPreparation(key.value_or(UNREAD), value.value_or(UNREAD), exception.what());
        }
        progressReporter.doProgress();
    }
}

/// Memory may still be short here: the record counts as refused in any case.
void NVMJobHandler::noteFailedPreparation(std::string_view key, std::string_view value,
                                          const char* why) noexcept {
    report.parameterRefused(key, why);
    try {
        const std::string parameter = quote(std::string(key), std::string(value), "=");
        LOG(3) << "Parameter preparation failed: " << parameter << " (exception " << why << ")";
        noteRefusal(quote(std::string(key)) + ": " + why);
    } catch (const std::exception&) {
        LOG(3) << "Parameter preparation failed: a parameter that there is no memory to name ("
               << "exception " << why << ")";
    }
}

void NVMJobHandler::addParameter(const std::string& key, const std::string& value) {
    const auto setting = std::find_if(
        conditionalSettings.begin(), conditionalSettings.end(),
        [&](const ConditionalSetting& candidate) { return key.starts_with(candidate.prefix); });
    if (setting == conditionalSettings.end())
        append(key, value);
    else
        setting->action(key, value);
}

void NVMJobHandler::addFunctionKeyParameter(const std::string& key, const std::string& value) {
    try {
        requireNumericKeyIndex(key);
    } catch (const std::exception& exception) {
        LOG(2) << exception.what();
        noteRefusal(exception.what());
        report.parameterRefused(key, exception.what());
        return;
    }
    prepareFunctionKeyParams(key, value);
}

void NVMJobHandler::prepareFunctionKeyParams(const std::string& key, const std::string& value) {
    const auto [index, postfix] = getIndexAndPostfix(key, keys::FUNCTION_KEY_PARAMETERS);
    if (postfix == keys::LOCK_PROVISIONING) {
        LOG(2) << "This parameter can not be set by provisioning " << quote(key);
        refuse(key, "can not be set by provisioning");
    } else if (isKnownAsLocked(index)) {
        LOG(2) << "This parameter can not be changed because it is locked " << quote(key);
        refuse(key, "is locked by " + quote(keys::functionKeyLock(index)));
    } else {
        LOG(1) << "Preparing function key param: " << quote(key, value, "=");
        append(key, value);
    }
}

bool NVMJobHandler::isFunctionKeyLocked(std::string index) {
    return propertyApi->getValue(keys::functionKeyLock(index)) != values::OFF;
}

/// The same, read once for each key of a job.
bool NVMJobHandler::isKnownAsLocked(const std::string& index) {
    const auto known = functionKeyLocks.find(index);
    if (known != functionKeyLocks.end())
        return known->second;
    const bool isLocked = isFunctionKeyLocked(index);
    if (functionKeyLocks.size() < MOST_KNOWN_LOCKS)
        functionKeyLocks.emplace(index, isLocked);
    return isLocked;
}

void NVMJobHandler::prepareVlanParams(const std::string& key, const std::string& value) {
    if (propertyApi->getValue(keys::VLAN_LOCKED) == values::ON) {
        LOG(2) << "Parameter " << quote(key) << " left out: " << keys::VLAN_LOCKED << " is 1";
        refuse(key, "is locked by " + quote(keys::VLAN_LOCKED));
        return;
    }
    // At once, before the batch is written.
    propertyApi->setValue(keys::VLAN_LOCKED, values::OFF);
    append(key, value);
}

bool NVMJobHandler::isRingtoneParam(const std::string& key) {
    return (contains(key, "Ringtone") || contains(key, "OneMelody") ||
            key == keys::DEFAULT_RINGTONE) &&
           !contains(key, "Header");
}

void NVMJobHandler::prepareRingtoneParams(const std::string& key, const std::string& value) {
    const auto wav = value.rfind(".wav");
    const auto slash = value.rfind('/', wav);
    const auto begin = slash == std::string::npos ? 0 : slash + 1;
    if (wav == std::string::npos)
        append(key, value.substr(begin));
    else
        append(key, value.substr(begin, wav - begin) + ".mp3");
}

void NVMJobHandler::append(const std::string& key, const std::string& value) {
    parameters.emplace_back(key, value);
}

void NVMJobHandler::refuse(const std::string& key, const std::string& why) {
    // First: where there is no memory for it, the caller counts the refusal.
    noteRefusal(quote(key) + " " + why);
    report.parameterRefused(key, why);
}

void NVMJobHandler::noteRefusal(const std::string& why) {
    if (firstRefusal.empty())
        firstRefusal = why;
}

} // namespace ovo
