// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace app {

/// Takes the code and constants of the program and its libraries out of this process's memory; what
/// runs on is mapped again as it is touched. A daemon calls it once, when its start is over: most
/// of what the dynamic linker and the libraries' initialisers touched is never touched again, and
/// the kernel reclaims pages that no process maps sooner and more cheaply. Nothing that was written
/// to is concerned. Any thread; others may run.
void unmapCodePages() noexcept;

} // namespace app
