// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

/// A piece of C++ source: a string literal, or a word, number or punctuator.
struct CppToken {
    bool isLiteral = false;
    std::string text; ///< of a literal: its content, escapes resolved
    int line = 0;

    bool is(std::string_view what) const { return !isLiteral && text == what; }
};

using CppTokens = std::vector<CppToken>;

/// Without comments, preprocessor directives and character literals.
CppTokens cppTokensOf(std::string_view source);
