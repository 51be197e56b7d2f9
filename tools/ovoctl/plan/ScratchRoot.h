// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace ovoctl {

/// A private directory that stands for the phone's root: whatever platform operations of this
/// process read and write below HALDEN_ROOT, they read and write there while the object lives. At
/// first it holds copies of what a run reads, but for the property store. Make it before any thread
/// runs; destroy it when none does any more.
class ScratchRoot {
public:
    /// Throws Unaskable, whose text names the file, when something of the phone is there but cannot
    /// be read, or when there is no room.
    ScratchRoot();
    /// Removes the directory with everything in it.
    ~ScratchRoot();
    ScratchRoot(const ScratchRoot&) = delete;
    ScratchRoot& operator=(const ScratchRoot&) = delete;

    /// On this machine.
    const std::string& path() const { return path_; }
    /// True when the phone has a bundle of trusted certificates. Otherwise the certificates that
    /// one is made of were copied.
    bool hasBundle() const { return hasBundle_; }

    /// Removes such a directory, also while somebody writes to it.
    static void remove(const std::string& path) noexcept;

private:
    void fill();
    bool copy(const std::string& phonePath);
    void copyDirectory(const std::string& phonePath);

    std::string phone_; ///< the phone's own root
    std::string path_;
    bool hasBundle_ = false;
};

} // namespace ovoctl
