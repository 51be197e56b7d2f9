// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace faults {

/// What a 401 answer asks for.
enum class Challenge { BASIC, DIGEST, BOTH, UNKNOWN, NONE };

/// How the announced length of a body lies.
enum class Length { RIGHT, LONGER, SHORTER, NEGATIVE, TWICE, NONE };

/// What a body is that is announced as gzip.
enum class Gzip { NOT_ANNOUNCED, PLAIN, BROKEN };

/// How an answer ends before its time.
struct Break {
    enum class How { CLOSE, RESET, SILENCE };
    How how;
    std::optional<std::uint64_t> after; ///< bytes of the body; none: nothing at all is said
};

/// Answers to requests, and what is wrong with them.
struct Answer {
    std::string path;                   ///< of the requests that it is for; empty: all
    std::optional<std::uint64_t> times; ///< the first so many requests; none: all
    std::optional<int> status;          ///< none: 200, or 302 for a redirect
    std::vector<std::string> headers;   ///< "NAME: VALUE"
    std::optional<std::string> body;
    std::optional<Challenge> challenge;
    std::optional<std::string> user; ///< with the password: what a client has to know
    std::optional<std::string> password;
    std::optional<std::string> redirect; ///< Location
    std::optional<std::uint64_t> chain;  ///< redirects before the answer
    bool redirectsNowhere = false;       ///< without Location
    bool loops = false;
    std::chrono::milliseconds delay{0};
    std::optional<std::uint64_t> rate; ///< bytes of the body a second
    std::optional<Break> end;
    Length length = Length::RIGHT;
    Gzip gzip = Gzip::NOT_ANNOUNCED;
    bool hasEndlessHeaders = false;
    std::string faults; ///< for people: " NAME=VALUE" each; no secrets

    /// Throws std::invalid_argument with a sentence when parts do not fit together.
    void check() const;
};

} // namespace faults
