// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "RemovalOnSignal.h"
#include "app/SignalBlock.h"

#include <optional>
#include <string>

namespace ovoctl {

/// A private directory that stands for the phone's root: whatever platform operations of this
/// process read and write below HALDEN_ROOT, they read and write there while the object lives. It
/// is empty at first, and removed with everything in it, also when a signal ends the process. Make
/// it before any thread runs; destroy it when none does any more.
class TemporaryRoot {
public:
    /// Throws Unaskable when there is no room.
    TemporaryRoot();
    ~TemporaryRoot();
    TemporaryRoot(const TemporaryRoot&) = delete;
    TemporaryRoot& operator=(const TemporaryRoot&) = delete;

    /// On this machine.
    const std::string& path() const { return path_; }
    /// The phone's own root.
    const std::string& phone() const { return phone_; }
    /// Copies a file of the phone, with its mode; false where there is none. Throws
    /// std::filesystem::filesystem_error.
    bool copy(const std::string& phonePath) const;

    /// Removes such a directory, also while somebody writes to it.
    static void remove(const std::string& path) noexcept;

private:
    void restore() const noexcept;

    /// Around all, so that no signal comes between the directory and who removes it.
    const app::SignalBlock signals_;
    const std::string phone_;
    const std::string path_;
    std::optional<RemovalOnSignal> removal_;
};

} // namespace ovoctl
