// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Whether the next allocation of the calling thread fails, once: the test program has its own
/// operator new.
void setOutOfMemory(bool isOut);
