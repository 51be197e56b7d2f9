// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace bench {

/// A picture of lines, bars and texts. Units are pixels, from the upper left corner.
class Svg {
public:
    Svg(int width, int height);

    void line(double fromX, double fromY, double toX, double toY, const char* colour);
    /// Lines from point to point, each of which has a dot.
    void path(const std::vector<std::pair<double, double>>& points, const char* colour,
              bool isDashed);
    void bar(double x, double y, double width, double height, const char* colour);
    /// anchor: "start", "middle" or "end".
    void text(double x, double y, const char* anchor, const std::string& text);

    /// The whole file.
    std::string document() const { return content_ + "</svg>\n"; }

private:
    std::string content_;
};

} // namespace bench
