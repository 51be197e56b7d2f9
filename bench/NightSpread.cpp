// SPDX-License-Identifier: Apache-2.0
// How the night runs of many phones spread: draws the offset of 1,000,000 consecutive MAC
// addresses, prints the busiest second and a chi-squared figure, and draws the histogram.

#include "ProvisioningTimer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr int FIRST_SECOND = 3600;
constexpr int SECONDS = 10801; // 01:00:00 to 04:00:00, both included
constexpr int PHONES = 1000000;

std::string macAddress(int phone) {
    char text[18];
    std::snprintf(text, sizeof text, "02:1A:2B:%02X:%02X:%02X",
                  static_cast<unsigned>(phone >> 16) & 0xffU,
                  static_cast<unsigned>(phone >> 8) & 0xffU, static_cast<unsigned>(phone) & 0xffU);
    return text;
}

std::vector<int> countBySecond() {
    std::vector<int> counts(SECONDS, 0);
    for (int phone = 0; phone < PHONES; ++phone) {
        const auto offset = ovo::ProvisioningTimer::drawNightOffset(macAddress(phone));
        ++counts.at(static_cast<std::size_t>(offset.count() - FIRST_SECOND));
    }
    return counts;
}

double chiSquared(const std::vector<int>& counts) {
    const double expected = static_cast<double>(PHONES) / SECONDS;
    double sum = 0;
    for (const int count : counts)
        sum += (count - expected) * (count - expected) / expected;
    return sum;
}

std::string clockTime(std::size_t second) {
    const auto time = static_cast<unsigned>(second) + FIRST_SECOND;
    char text[16];
    std::snprintf(text, sizeof text, "%02u:%02u:%02u", time / 3600, time / 60 % 60, time % 60);
    return text;
}

/// One bar a minute; the scale begins at 0.
void draw(const std::vector<int>& counts, std::ostream& svg) {
    constexpr std::size_t MINUTES = SECONDS / 60;
    std::vector<int> minutes(MINUTES, 0);
    for (std::size_t second = 0; second < MINUTES * 60; ++second)
        minutes[second / 60] += counts[second];
    const double highest = *std::max_element(minutes.begin(), minutes.end());
    constexpr int LEFT = 60;
    constexpr int TOP = 40;
    constexpr int BAR = 4;
    constexpr int HEIGHT = 240;
    constexpr int WIDTH = BAR * static_cast<int>(MINUTES);
    const auto label = [&](int x, int y, const char* anchor, const std::string& text) {
        svg << "<text x=\"" << x << "\" y=\"" << y << "\" text-anchor=\"" << anchor
            << "\" font-family=\"sans-serif\" font-size=\"12\" fill=\"#333\">" << text
            << "</text>\n";
    };
    svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << LEFT + WIDTH + 20
        << "\" height=\"" << TOP + HEIGHT + 40 << "\">\n<rect width=\"100%\" height=\"100%\" "
        << "fill=\"#fff\"/>\n";
    label(LEFT, 22, "start", "Night runs a minute, " + std::to_string(PHONES) + " phones");
    for (std::size_t minute = 0; minute < MINUTES; ++minute) {
        const int height = static_cast<int>(std::lround(minutes[minute] / highest * HEIGHT));
        svg << "<rect x=\"" << LEFT + BAR * static_cast<int>(minute) << "\" y=\""
            << TOP + HEIGHT - height << "\" width=\"" << BAR - 1 << "\" height=\"" << height
            << "\" fill=\"#3b6ea5\"/>\n";
    }
    label(LEFT - 6, TOP + 10, "end", std::to_string(static_cast<int>(highest)));
    label(LEFT - 6, TOP + HEIGHT, "end", "0");
    for (int hour = 0; hour <= 3; ++hour)
        label(LEFT + BAR * 60 * hour, TOP + HEIGHT + 20, "middle",
              clockTime(static_cast<std::size_t>(hour) * 3600).substr(0, 5));
    svg << "</svg>\n";
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<int> counts = countBySecond();
    const auto busiest = std::max_element(counts.begin(), counts.end());
    const auto emptiest = std::min_element(counts.begin(), counts.end());
    const double chi = chiSquared(counts);
    const double degrees = SECONDS - 1;
    std::printf("%d phones over %d seconds, %.1f expected a second\n", PHONES, SECONDS,
                static_cast<double>(PHONES) / SECONDS);
    std::printf("busiest second  %s  %d phones\n",
                clockTime(static_cast<std::size_t>(busiest - counts.begin())).c_str(), *busiest);
    std::printf("quietest second %s  %d phones\n",
                clockTime(static_cast<std::size_t>(emptiest - counts.begin())).c_str(), *emptiest);
    std::printf("chi-squared %.1f, %.0f degrees of freedom, %+.2f standard deviations from even\n",
                chi, degrees, (chi - degrees) / std::sqrt(2 * degrees));
    if (argc > 1) {
        std::ofstream svg(argv[1]);
        draw(counts, svg);
        if (!svg.flush()) {
            std::fprintf(stderr, "%s: cannot write %s\n", argv[0], argv[1]);
            return 1;
        }
    }
    return 0;
}
