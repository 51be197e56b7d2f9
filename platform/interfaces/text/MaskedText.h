// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

/// The text with "***" in place of the password of everything that looks like a URL with
/// credentials (SCHEME://USER:PASSWORD@). In doubt more is masked: a password may hold "@", ":" and
/// "/", and a blank where the text before it is not a host and port.
std::string withMaskedPasswords(std::string_view text);
