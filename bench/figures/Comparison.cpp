// SPDX-License-Identifier: Apache-2.0
#include "Comparison.h"

#include "FigureText.h"

namespace bench {

std::vector<std::string> regressions(const FigureSet& before, const FigureSet& now) {
    std::vector<std::string> sentences;
    for (const Figure& figure : now.figures) {
        const Figure* const old = before.find(figure.id);
        if (old == nullptr || figure.comparable == Figure::Comparable::NO)
            continue;
        if (figure.value.median > old->value.median * (1 + figure.tolerance))
            sentences.push_back(
                figure.title + ": " + withUnit(figure.value.median, figure.valueUnit) + ", was " +
                withUnit(old->value.median, old->valueUnit) + " in " + before.version);
    }
    return sentences;
}

} // namespace bench
