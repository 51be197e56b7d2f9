// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// Writes a line with time and text to the standard error. Any thread.
void logLine(const std::string& text);
/// This moment in UTC: "2026-05-01T12:00:00.007Z".
std::string timeText();
