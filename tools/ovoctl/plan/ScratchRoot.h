// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/support/TemporaryRoot.h"

#include <string>

namespace ovoctl {

/// A temporary root with copies of what a run reads, but for the property store.
class ScratchRoot {
public:
    /// Throws Unaskable, whose text names the file, when something of the phone is there but cannot
    /// be read, or when there is no room.
    ScratchRoot();

    /// On this machine.
    const std::string& path() const { return root_.path(); }
    /// True when the phone has a bundle of trusted certificates. Otherwise the certificates that
    /// one is made of were copied.
    bool hasBundle() const { return hasBundle_; }

private:
    void fill();
    void copyDirectory(const std::string& phonePath) const;

    const TemporaryRoot root_;
    bool hasBundle_ = false;
};

} // namespace ovoctl
