// SPDX-License-Identifier: Apache-2.0
#include "FigureSet.h"

#include <json/reader.h>
#include <json/writer.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>

namespace bench {

const Figure* FigureSet::find(const std::string& id) const {
    const auto found = std::find_if(figures.begin(), figures.end(),
                                    [&](const Figure& figure) { return figure.id == id; });
    return found == figures.end() ? nullptr : &*found;
}

FigureSet loadFigures(const std::string& path) {
    std::ifstream file(path);
    Json::Value json;
    std::string errors;
    if (!file || !Json::parseFromStream(Json::CharReaderBuilder(), file, &json, &errors) ||
        !json.isObject() || !json["figures"].isArray())
        throw std::runtime_error(path + " holds no figures " + errors);
    try {
        FigureSet set{json["version"].asString(),
                      json["date"].asString(),
                      json["rounds"].asInt(),
                      json["machine"].asString(),
                      {}};
        for (const Json::Value& figure : json["figures"])
            set.figures.push_back(figureFrom(figure));
        return set;
    } catch (const std::exception& exception) {
        throw std::runtime_error(path + ": " + exception.what());
    }
}

void saveFigures(const std::string& path, const FigureSet& set) {
    Json::Value json;
    json["version"] = set.version;
    json["date"] = set.date;
    json["rounds"] = set.rounds;
    json["machine"] = set.machine;
    json["figures"] = Json::Value(Json::arrayValue);
    for (const Figure& figure : set.figures)
        json["figures"].append(toJson(figure));
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "  ";
    builder["precision"] = 5;
    std::ofstream file(path);
    file << Json::writeString(builder, json) << "\n";
    if (!file.flush())
        throw std::runtime_error("cannot write " + path);
}

} // namespace bench
