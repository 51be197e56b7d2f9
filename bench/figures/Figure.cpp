// SPDX-License-Identifier: Apache-2.0
#include "Figure.h"

#include <array>
#include <cstddef>
#include <stdexcept>

namespace bench {

namespace {

constexpr std::array COMPARABLE = {"no", "ratio", "count"};

Json::Value rangeJson(const Range& range) {
    Json::Value json(Json::arrayValue);
    json.append(range.median);
    json.append(range.low);
    json.append(range.high);
    return json;
}

Range rangeFrom(const Json::Value& json) {
    if (!json.isArray() || json.size() != 3)
        throw std::runtime_error("a range has three numbers");
    return {json[0].asDouble(), json[1].asDouble(), json[2].asDouble()};
}

std::optional<Range> optionalRange(const Json::Value& figure, const char* name) {
    if (!figure.isMember(name))
        return std::nullopt;
    return rangeFrom(figure[name]);
}

Figure::Comparable comparableFrom(const std::string& word) {
    for (std::size_t index = 0; index < COMPARABLE.size(); ++index)
        if (word == COMPARABLE.at(index))
            return static_cast<Figure::Comparable>(index);
    throw std::runtime_error("a figure cannot be compared in the way " + word);
}

} // namespace

Json::Value toJson(const Figure& figure) {
    Json::Value json;
    json["id"] = figure.id;
    json["title"] = figure.title;
    json["unit"] = figure.unit;
    if (figure.ours)
        json["ours"] = rangeJson(*figure.ours);
    if (figure.reference)
        json["reference"] = rangeJson(*figure.reference);
    json["value"] = rangeJson(figure.value);
    json["valueUnit"] = figure.valueUnit;
    if (figure.goal)
        json["goal"] = *figure.goal;
    json["comparable"] = COMPARABLE.at(static_cast<std::size_t>(figure.comparable));
    json["tolerance"] = figure.tolerance;
    json["note"] = figure.note;
    return json;
}

Figure figureFrom(const Json::Value& json) {
    try {
        Figure figure;
        figure.id = json["id"].asString();
        if (figure.id.empty())
            throw std::runtime_error("a figure has no id");
        figure.title = json["title"].asString();
        figure.unit = json["unit"].asString();
        figure.ours = optionalRange(json, "ours");
        figure.reference = optionalRange(json, "reference");
        figure.value = rangeFrom(json["value"]);
        figure.valueUnit = json["valueUnit"].asString();
        if (json.isMember("goal"))
            figure.goal = json["goal"].asDouble();
        figure.comparable = comparableFrom(json["comparable"].asString());
        figure.tolerance = json["tolerance"].asDouble();
        figure.note = json["note"].asString();
        return figure;
    } catch (const Json::Exception& exception) {
        throw std::runtime_error(exception.what());
    }
}

} // namespace bench
