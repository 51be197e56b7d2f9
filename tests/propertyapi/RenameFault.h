// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

/// While it lives, renameat2 fails with EINVAL as on a file system that does not
/// know its flags: the test program has its own version.
class RenameFault {
public:
    /// called: what happens just before it fails.
    explicit RenameFault(std::function<void()> called = [] {});
    ~RenameFault();
    RenameFault(const RenameFault&) = delete;
    RenameFault& operator=(const RenameFault&) = delete;

    /// How often it was called.
    unsigned int calls() const;
};
