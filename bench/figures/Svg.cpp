// SPDX-License-Identifier: Apache-2.0
#include "Svg.h"

#include <array>
#include <cstdio>

namespace bench {

namespace {

std::string attribute(const char* name, double value) {
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), " %s=\"%.1f\"", name, value);
    return text.data();
}

std::string attribute(const char* name, const std::string& value) {
    return std::string(" ") + name + "=\"" + value + "\"";
}

std::string escaped(const std::string& text) {
    std::string result;
    for (const char character : text) {
        if (character == '&')
            result += "&amp;";
        else if (character == '<')
            result += "&lt;";
        else
            result += character;
    }
    return result;
}

} // namespace

Svg::Svg(int width, int height)
    : content_("<svg xmlns=\"http://www.w3.org/2000/svg\"" + attribute("width", width) +
               attribute("height", height) +
               ">\n<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n") {}

void Svg::line(double fromX, double fromY, double toX, double toY, const char* colour) {
    content_ += "<line" + attribute("x1", fromX) + attribute("y1", fromY) + attribute("x2", toX) +
                attribute("y2", toY) + attribute("stroke", std::string(colour)) + "/>\n";
}

void Svg::path(const std::vector<std::pair<double, double>>& points, const char* colour,
               bool isDashed) {
    std::string places;
    std::string dots;
    for (const auto& [x, y] : points) {
        std::array<char, 64> place{};
        std::snprintf(place.data(), place.size(), "%.1f,%.1f ", x, y);
        places += place.data();
        dots += "<circle" + attribute("cx", x) + attribute("cy", y) + " r=\"3\"" +
                attribute("fill", std::string(colour)) + "/>\n";
    }
    content_ += "<polyline fill=\"none\" stroke-width=\"2\"" + attribute("points", places) +
                attribute("stroke", std::string(colour)) +
                (isDashed ? " stroke-dasharray=\"5 4\"" : "") + "/>\n" + dots;
}

void Svg::bar(double x, double y, double width, double height, const char* colour) {
    content_ += "<rect" + attribute("x", x) + attribute("y", y) + attribute("width", width) +
                attribute("height", height) + attribute("fill", std::string(colour)) + "/>\n";
}

void Svg::text(double x, double y, const char* anchor, const std::string& text) {
    content_ += "<text" + attribute("x", x) + attribute("y", y) +
                attribute("text-anchor", std::string(anchor)) +
                " font-family=\"sans-serif\" font-size=\"12\" fill=\"#333\">" + escaped(text) +
                "</text>\n";
}

} // namespace bench
