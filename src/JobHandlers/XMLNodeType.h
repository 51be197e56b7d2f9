// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string>

/// Element and attribute names of provisioning files. Everything that matches names uses these.
namespace ovo::XMLParser {

enum XMLNodeType : int {
    GLOBAL_ATTR_VERSION = 0,
    GLOBAL_ATTR_PRODUCT_ID,
    GLOBAL_ATTR_MAC_ADDRESS,
    PROVISIONING_ROOT,
    PROVISIONING_CATEGORY,
    PROVISIONING_CATEGORY_ATTR_TYPE,
    PROVISIONING_CATEGORY_ATTR_URL,
    FIRMWARE_ROOT,
    FIRMWARE_FILE,
    FIRMWARE_FILE_ATTR_VERSION,
    FIRMWARE_FILE_ATTR_URL,
    NVM_ROOT,
    DOWNLOADABLE_FILE,
    DOWNLOADABLE_FILE_ATTR_VERSION,
    DOWNLOADABLE_FILE_ATTR_URL,
    NVM_SETTINGS,
    NVM_SETTINGS_PARAM,
    NVM_SETTINGS_PARAM_ATTR_NAME,
    NVM_SETTINGS_PARAM_ATTR_VALUE,
    NVM_SETTINGS_PARAM_ATTR_FLAGS,
    CUSTOM_ROOT,
    CUSTOM_SCENARIO,
    CUSTOM_STEP,
    CUSTOM_STEP_ATTR_TYPE
};

// Root attributes: file format version, product and device that the file is for.
inline constexpr char GLOBAL_ATTR_VERSION_STR[] = "version";
inline constexpr char GLOBAL_ATTR_PRODUCT_ID_STR[] = "productID";
inline constexpr char GLOBAL_ATTR_MAC_ADDRESS_STR[] = "macAddress";
inline constexpr char PROVISIONING_ROOT_STR[] = "provisioning";
inline constexpr char PROVISIONING_CATEGORY_STR[] = "category";
inline constexpr char PROVISIONING_CATEGORY_ATTR_TYPE_STR[] = "type";
inline constexpr char PROVISIONING_CATEGORY_ATTR_URL_STR[] = "url";
inline constexpr char FIRMWARE_ROOT_STR[] = "firmware";
inline constexpr char FIRMWARE_FILE_STR[] = "file";
inline constexpr char FIRMWARE_FILE_ATTR_VERSION_STR[] = "version";
inline constexpr char FIRMWARE_FILE_ATTR_URL_STR[] = "url";
inline constexpr char NVM_ROOT_STR[] = "nvm";
inline constexpr char DOWNLOADABLE_FILE_STR[] = "file";
inline constexpr char DOWNLOADABLE_FILE_ATTR_VERSION_STR[] = "version";
inline constexpr char DOWNLOADABLE_FILE_ATTR_URL_STR[] = "url";
inline constexpr char NVM_SETTINGS_STR[] = "settings";
inline constexpr char NVM_SETTINGS_PARAM_STR[] = "param";
inline constexpr char NVM_SETTINGS_PARAM_ATTR_NAME_STR[] = "name";
inline constexpr char NVM_SETTINGS_PARAM_ATTR_VALUE_STR[] = "value";
inline constexpr char NVM_SETTINGS_PARAM_ATTR_FLAGS_STR[] = "flags";
inline constexpr char CUSTOM_ROOT_STR[] = "custom";
inline constexpr char CUSTOM_SCENARIO_STR[] = "scenario";
inline constexpr char CUSTOM_STEP_STR[] = "step";
inline constexpr char CUSTOM_STEP_ATTR_TYPE_STR[] = "type";
/// Value of "flags": accept an older firmware; accept a certificate without confirmation.
inline constexpr char FORCE_ACCEPT_STR[] = "FORCE_ACCEPT";

/// What the root of a provisioning file may be.
inline constexpr std::array<const char*, 6> MASTER_NODES = {
    PROVISIONING_ROOT_STR, FIRMWARE_ROOT_STR, NVM_ROOT_STR,
    NVM_SETTINGS_STR,      CUSTOM_ROOT_STR,   CUSTOM_SCENARIO_STR};
/// The products that a file may be for.
inline constexpr std::array<const char*, 2> PRODUCTS = {"hd7k", "hd9"};
/// Values of "type" of a category.
inline constexpr std::array<const char*, 3> CATEGORIES = {FIRMWARE_ROOT_STR, NVM_ROOT_STR,
                                                          CUSTOM_ROOT_STR};

/// Text of a value; the empty text for GLOBAL_ATTR_MAC_ADDRESS, which has none on purpose, and for
/// numbers out of range.
const std::string& getNodeTypeName(XMLNodeType type);

} // namespace ovo::XMLParser
