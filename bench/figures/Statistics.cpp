// SPDX-License-Identifier: Apache-2.0
#include "Statistics.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>

namespace bench {

double quantile(Samples samples, double part) {
    if (samples.empty())
        throw std::invalid_argument("no sample");
    std::sort(samples.begin(), samples.end());
    const auto rank =
        static_cast<std::size_t>(std::ceil(part * static_cast<double>(samples.size())));
    return samples[std::clamp<std::size_t>(rank, 1, samples.size()) - 1];
}

double median(Samples samples) {
    if (samples.empty())
        throw std::invalid_argument("no sample");
    std::sort(samples.begin(), samples.end());
    const std::size_t middle = samples.size() / 2;
    return samples.size() % 2 == 1 ? samples[middle] : (samples[middle - 1] + samples[middle]) / 2;
}

Samples byGroups(const Samples& samples, std::size_t groups, double part) {
    Samples result;
    const std::size_t size = samples.size() / groups;
    for (std::size_t group = 0; group < groups; ++group) {
        const auto begin = samples.begin() + static_cast<std::ptrdiff_t>(group * size);
        result.push_back(quantile(Samples(begin, begin + static_cast<std::ptrdiff_t>(size)), part));
    }
    return result;
}

Range rangeOf(const Samples& samples) {
    return {median(samples), quantile(samples, 0), quantile(samples, 1)};
}

Range exactly(double value) {
    return {value, value, value};
}

Samples eachRound(const Samples& ours, const Samples& reference,
                  const std::function<double(double, double)>& function) {
    if (ours.size() != reference.size())
        throw std::invalid_argument("not equally many rounds");
    Samples results;
    std::transform(ours.begin(), ours.end(), reference.begin(), std::back_inserter(results),
                   function);
    return results;
}

Samples ratios(const Samples& ours, const Samples& reference) {
    return eachRound(ours, reference, [](double left, double right) { return left / right; });
}

} // namespace bench
