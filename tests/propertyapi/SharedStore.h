// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/process/PhoneRoot.h"

#include <string>

/// A property store that clients of this test and other programs use together.
///
/// This process must not open the store's files by itself: closing them gives up the locks that the
/// clients in it hold. So files in use are read through other programs.
class SharedStore {
public:
    /// The database on this machine.
    std::string file() const { return root_.host("/data/properties.db"); }
    const PhoneRoot& root() const { return root_; }

    /// Runs the stock shell on the store: what it prints, without the last line end. A failure of
    /// the shell is a failure of the test.
    std::string shell(const std::string& statements) const;

    /// Makes a further database of statements for the stock shell, for the owner alone: its path,
    /// in the store's directory.
    std::string makeAnother(const std::string& statements) const;

private:
    const PhoneRoot root_;
};
