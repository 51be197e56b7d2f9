// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// Marks a text off for a log line: double quotes around it; quotes, backslashes and control
/// characters in it escaped.
std::string quote(const std::string& text);

/// Two quoted texts joined by a separator: quote("a", "b", "=") is "a"="b". A separator that is a
/// word (begins with a letter) stands between blanks: quote("1.0", "1.1", "is older than") is
/// "1.0" is older than "1.1".
std::string quote(const std::string& first, const std::string& second,
                  const std::string& separator);
