// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

/// The steps of scenarios: values of the attribute "type" of a step, and what else each kind reads.
namespace ovo::steps {

inline constexpr char CERTIFICATE[] = "certificate";
inline constexpr char CLIENT_CERTIFICATE[] = "Clientcertificate";
inline constexpr char CLIENT_KEY[] = "Clientkey";
inline constexpr char WALLPAPER[] = "DownloadWallpaper";
inline constexpr char LOCAL_PHONE_BOOK[] = "LocalPhoneBook";
inline constexpr char REDIRECT[] = "Redirect";
inline constexpr char UNLOCK_FUNCTION_KEYS[] = "UnlockAllFunctionKeys";

inline constexpr char ATTR_FLAGS[] = "flags";
inline constexpr char ATTR_PASSWORD[] = "password";
inline constexpr char ATTR_RENEW_PERIOD[] = "renewPeriod";
inline constexpr char ATTR_URL[] = "url";

/// What a kind of step reads besides its type.
struct StepType {
    const char* name;
    bool needsUrl;                  ///< without it the step fails
    const char* optional = nullptr; ///< an attribute that it may have
};

inline constexpr std::array<StepType, 7> ALL{{
    {CERTIFICATE, true, ATTR_FLAGS},
    {CLIENT_CERTIFICATE, true},
    {CLIENT_KEY, true, ATTR_PASSWORD},
    {WALLPAPER, true},
    {LOCAL_PHONE_BOOK, true, ATTR_RENEW_PERIOD},
    {REDIRECT, true},
    {UNLOCK_FUNCTION_KEYS, false},
}};

} // namespace ovo::steps
