// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The log of the tool: what core and platform say while they work for it.
namespace ovoctl::log {

/// From now on lines go to standard error; before, and without it, nowhere. Any thread.
void show() noexcept;

} // namespace ovoctl::log
