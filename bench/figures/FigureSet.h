// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Figure.h"

#include <string>
#include <vector>

namespace bench {

/// What one run of the measurement has found.
struct FigureSet {
    std::string version; ///< of the program
    std::string date;    ///< YYYY-MM-DD
    int rounds = 0;
    std::string machine; ///< in words, its load included
    std::vector<Figure> figures;

    /// nullptr when there is none.
    const Figure* find(const std::string& id) const;
};

/// Throws std::runtime_error, which names the file, when it cannot be read or is none.
FigureSet loadFigures(const std::string& path);
/// Throws std::runtime_error when it cannot be written.
void saveFigures(const std::string& path, const FigureSet& set);

} // namespace bench
