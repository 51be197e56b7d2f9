// SPDX-License-Identifier: Apache-2.0
#include "KnownPhone.h"

#include "Vocabulary.h"
#include "firmware/HaldenFirmwareVersion.h"
#include "ovoctl/Failure.h"
#include "phoneconfig/json/JsonPhoneConfig.h"
#include "propertyapi/sqlite/ReadOnlyStore.h"

namespace ovoctl::check {

std::string KnownPhone::macAddress() const {
    const auto mac = values->find(ovo::keys::MAC_ADDRESS);
    return mac == values->end() ? std::string() : mac->second;
}

KnownPhone readPhone(const std::string& mac) {
    auto values = std::make_shared<Values>(propertyapi::ReadOnlyStore().values());
    if (!mac.empty())
        (*values)[ovo::keys::MAC_ADDRESS] = mac;
    KnownPhone phone;
    phone.values = values;
    phone.areLocksKnown = true;
    phone.firmware = version::HaldenFirmwareVersion().getVersion();
    try {
        const phoneconfig::JsonPhoneConfig configuration;
        phone.majorId = configuration.getValue(ovo::configuration::MAJOR_ID);
        phone.minorId = configuration.getValue(ovo::configuration::MINOR_ID);
    } catch (const std::exception& exception) {
        throw Unaskable(std::string("the phone configuration cannot be read: ") + exception.what());
    }
    return phone;
}

std::string KnownConfiguration::getValue(const std::string& key) const {
    if (key == ovo::configuration::MAJOR_ID)
        return majorId_;
    return key == ovo::configuration::MINOR_ID ? minorId_ : std::string();
}

} // namespace ovoctl::check
