// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string_view>

/// What provisioning files are held against. The reference of the rules names them all.
namespace ovoctl::check {

enum class Level { Error, Warning, Note };

constexpr std::string_view nameOf(Level level) {
    return level == Level::Error ? "error" : level == Level::Warning ? "warning" : "note";
}

struct Rule {
    std::string_view name;
    Level level;
    std::string_view sentence; ///< what holds in a good file
};

namespace rules {

// The file
inline constexpr Rule NOT_WELL_FORMED{
    "not-well-formed", Level::Error, "The file is an XML document within the limits of the phone."};
inline constexpr Rule PLAIN{"plain", Level::Note, "The file is encrypted."};
inline constexpr Rule ENCRYPTED{"encrypted", Level::Warning,
                                "The key of an encrypted file is given, so that it can be read."};
inline constexpr Rule ENCRYPTION{
    "encryption", Level::Error,
    "An encrypted file is encrypted with the key and the options that the phone uses."};
inline constexpr Rule NO_JOB{"no-job", Level::Error, "The file holds at least one job."};

// The root element
inline constexpr Rule ROOT{"root", Level::Error, "The root element is one that the phone knows."};
inline constexpr Rule PRODUCT{"product", Level::Error,
                              "\"productID\" is a product that the phone knows."};
inline constexpr Rule OTHER_PRODUCT{"other-product", Level::Warning,
                                    "\"productID\" is the product that was asked for."};
inline constexpr Rule MAC_ADDRESS{"mac-address", Level::Error,
                                  "\"macAddress\" is the address of the phone."};
inline constexpr Rule MAC_FORMAT{
    "mac-format", Level::Warning,
    "\"macAddress\" is six pairs of hexadecimal digits with \":\" or \"-\" between them."};
inline constexpr Rule VERSION{"version", Level::Error,
                              "\"version\" is a format that the phone reads."};

// Elements and attributes
inline constexpr Rule UNREAD_ATTRIBUTE{"unread-attribute", Level::Warning,
                                       "Something reads each attribute."};
inline constexpr Rule UNREAD_ELEMENT{"unread-element", Level::Warning,
                                     "Each element has a name that means something in its place."};
inline constexpr Rule REPEATED_ATTRIBUTE{"repeated-attribute", Level::Warning,
                                         "No element has an attribute twice."};
inline constexpr Rule MISSING_ATTRIBUTE{"missing-attribute", Level::Error,
                                        "Each element has the attributes that its job needs."};
inline constexpr Rule MIXED_CHILDREN{"mixed-children", Level::Error,
                                     "The childless elements of one element have the same name."};
inline constexpr Rule BARE_ELEMENT{"bare-element", Level::Warning,
                                   "Each childless element has attributes."};

// Jobs
inline constexpr Rule UNKNOWN_JOB{"unknown-job", Level::Error, "Each job is one that is known."};
inline constexpr Rule UNKNOWN_STEP{"unknown-step", Level::Error,
                                   "Each step has a type that is known."};
inline constexpr Rule UNKNOWN_FLAGS{"unknown-flags", Level::Warning,
                                    "\"flags\" is \"FORCE_ACCEPT\", exactly."};
inline constexpr Rule IGNORED_FLAGS{"ignored-flags", Level::Note,
                                    "A parameter has no \"flags\", which are ignored there."};
inline constexpr Rule CATEGORY{"category", Level::Error,
                               "\"type\" of a category is one that is known."};
inline constexpr Rule URL{"url", Level::Error,
                          "Each URL is complete, http or https, or begins with \"/\"."};
inline constexpr Rule FILE_NAME{"file-name", Level::Error,
                                "The URL of a file that is stored ends in the name of a file."};
inline constexpr Rule PLAIN_SECRET{"plain-secret", Level::Warning,
                                   "Keys, passwords and credentials do not go over plain http."};
inline constexpr Rule RENEW_PERIOD{"renew-period", Level::Warning,
                                   "\"renewPeriod\" is 0, or a number from 600 to 86400."};
inline constexpr Rule LOOP{"loop", Level::Error,
                           "No list and no redirect leads back to the file that holds it."};

// Parameters
inline constexpr Rule REFUSED_PARAMETER{"refused-parameter", Level::Error,
                                        "The phone takes each parameter."};
inline constexpr Rule PERIOD{
    "period", Level::Warning,
    "\"System.Provision.Period\" is empty, 0, or a number from 600 to 86400."};
inline constexpr Rule EMPTY_NAME{"empty-name", Level::Warning, "Each parameter has a name."};
inline constexpr Rule REPEATED_KEY{"repeated-key", Level::Warning, "A file sets each key once."};
inline constexpr Rule PROTECTED_KEY{
    "protected-key", Level::Warning,
    "No file sets the phone's MAC address or the state of its services."};

// Firmware
inline constexpr Rule FIRMWARE_ENTRIES{"firmware-entries", Level::Error,
                                       "A firmware element names exactly one image."};
inline constexpr Rule FIRMWARE_VERSION{
    "firmware-version", Level::Error,
    "The version of an image is two to four decimal numbers with dots."};
inline constexpr Rule FIRMWARE_NOT_NEWER{
    "firmware-not-newer", Level::Error,
    "An image is newer than the installed version, of the same hardware generation."};

inline constexpr std::array<const Rule*, 35> ALL{&NOT_WELL_FORMED,
                                                 &PLAIN,
                                                 &ENCRYPTED,
                                                 &ENCRYPTION,
                                                 &NO_JOB,
                                                 &ROOT,
                                                 &PRODUCT,
                                                 &OTHER_PRODUCT,
                                                 &MAC_ADDRESS,
                                                 &MAC_FORMAT,
                                                 &VERSION,
                                                 &UNREAD_ATTRIBUTE,
                                                 &UNREAD_ELEMENT,
                                                 &REPEATED_ATTRIBUTE,
                                                 &MISSING_ATTRIBUTE,
                                                 &MIXED_CHILDREN,
                                                 &BARE_ELEMENT,
                                                 &UNKNOWN_JOB,
                                                 &UNKNOWN_STEP,
                                                 &UNKNOWN_FLAGS,
                                                 &IGNORED_FLAGS,
                                                 &CATEGORY,
                                                 &URL,
                                                 &FILE_NAME,
                                                 &PLAIN_SECRET,
                                                 &RENEW_PERIOD,
                                                 &LOOP,
                                                 &REFUSED_PARAMETER,
                                                 &PERIOD,
                                                 &EMPTY_NAME,
                                                 &REPEATED_KEY,
                                                 &PROTECTED_KEY,
                                                 &FIRMWARE_ENTRIES,
                                                 &FIRMWARE_VERSION,
                                                 &FIRMWARE_NOT_NEWER};

} // namespace rules

} // namespace ovoctl::check
