// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <utility>

namespace ovo {

/// Runs one action when it is made and another when it is destroyed. An exception that escapes the
/// second ends the process.
class ScopeActions {
public:
    ScopeActions(const std::function<void()>& start, std::function<void()> finish)
        : finish_(std::move(finish)) {
        start();
    }
    ~ScopeActions() { finish_(); }
    ScopeActions(const ScopeActions&) = delete;
    ScopeActions& operator=(const ScopeActions&) = delete;

private:
    std::function<void()> finish_;
};

} // namespace ovo
