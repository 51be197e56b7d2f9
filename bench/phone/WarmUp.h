// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace bench {

/// Keeps every processor busy for 20 ms, so that what is timed next does not begin on one that
/// sleeps or is clocked down. Of a virtual machine's it makes a factor of two.
void warmUp();

} // namespace bench
