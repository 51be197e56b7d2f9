// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <vector>

namespace bench {

using Samples = std::vector<double>;

/// The middle of a sample, and its ends.
struct Range {
    double median = 0;
    double low = 0;
    double high = 0;
};

/// The value that a part of the sample (0 to 1) does not exceed, by the nearest rank: always one of
/// the sample. Throws std::invalid_argument when there is none.
double quantile(Samples samples, double part);
/// The middle value, or the mean of both. Throws as quantile().
double median(Samples samples);
Range rangeOf(const Samples& samples);
Range exactly(double value);
/// The function of each round's pair. Throws std::invalid_argument when the rounds are not equally
/// many.
Samples eachRound(const Samples& ours, const Samples& reference,
                  const std::function<double(double ours, double reference)>& function);
/// So many groups of samples that follow one another, equally large, each with its quantile; what
/// is left over at the end is left out. Throws as quantile().
Samples byGroups(const Samples& samples, std::size_t groups, double part);
/// Ours divided by the reference, round by round.
Samples ratios(const Samples& ours, const Samples& reference);

} // namespace bench
