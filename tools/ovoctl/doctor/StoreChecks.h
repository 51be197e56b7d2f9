// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace ovoctl {

class Examination;

/// The property store: file, mode, log, content, version, triggers. Reads what later checks need.
void checkStore(Examination& examination);

} // namespace ovoctl
