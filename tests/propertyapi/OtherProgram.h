// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"

#include <string>

/// Another process that does something with a database and then keeps it open, until the object
/// goes.
class OtherProgram {
public:
    /// command: of property_client, one that says "held". file: a path of this machine. Made when
    /// that was said.
    OtherProgram(const std::string& command, const std::string& file);

private:
    const TemporaryDirectory directory_;
    ChildProcess process_;
};
