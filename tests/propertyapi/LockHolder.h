// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "OtherProgram.h"

#include <string>

/// Another process that has begun to write to a database and does not end, until the object goes.
class LockHolder {
public:
    enum class Make { NOTHING, STORE };

    /// file: a path of this machine. STORE: the process makes the store first, as a client of it.
    explicit LockHolder(const std::string& file, Make make = Make::NOTHING)
        : program_(make == Make::STORE ? "make-and-hold" : "hold", file) {}

private:
    const OtherProgram program_;
};
