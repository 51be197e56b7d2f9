// SPDX-License-Identifier: Apache-2.0
#include "LinkMap.h"

#include "text/Quote.h"

#include <algorithm>

namespace ovoctl::check {

namespace {

/// A loop in words names that many files.
constexpr std::size_t MOST_NAMED = 5;

struct Edge {
    std::size_t target;
    std::size_t link; ///< its number in the file
};
using Graph = std::vector<std::vector<Edge>>;

/// Walks depth first, without recursion: a chain may have 10,000 files. An edge to a file that is
/// on the way closes a loop, which every loop has at least one of.
class LoopSearch {
public:
    LoopSearch(const Graph& graph, const std::vector<CheckSource>& sources,
               std::vector<CheckedFile>& files)
        : graph_(graph), sources_(sources), files_(files), state_(graph.size(), State::New) {}

    void run() {
        for (std::size_t file = 0; file < graph_.size(); ++file)
            if (state_[file] == State::New)
                walkFrom(file);
    }

private:
    enum class State { New, OnTheWay, Done };
    struct Stop {
        std::size_t file;
        std::size_t nextEdge;
    };

    void walkFrom(std::size_t start) {
        enter(start);
        while (!way_.empty()) {
            Stop& stop = way_.back();
            if (stop.nextEdge == graph_[stop.file].size()) {
                state_[stop.file] = State::Done;
                way_.pop_back();
                continue;
            }
            const Edge& edge = graph_[stop.file][stop.nextEdge++];
            if (state_[edge.target] == State::OnTheWay)
                note(stop.file, edge);
            else if (state_[edge.target] == State::New)
                enter(edge.target);
        }
    }

    void enter(std::size_t file) {
        state_[file] = State::OnTheWay;
        way_.push_back({file, 0});
    }

    void note(std::size_t file, const Edge& edge) {
        std::string sentence = "this leads back to the file itself";
        if (file != edge.target) {
            sentence = "this leads back to " + quote(sources_[edge.target].name) + " by way of ";
            const auto begin = std::find_if(way_.begin(), way_.end(), [&](const Stop& stop) {
                return stop.file == edge.target;
            });
            const auto between = static_cast<std::size_t>(way_.end() - begin) - 1;
            for (std::size_t at = 0; at < std::min(between, MOST_NAMED); ++at)
                sentence +=
                    (at == 0 ? "" : ", ") +
                    quote(sources_[(begin + 1 + static_cast<std::ptrdiff_t>(at))->file].name);
            if (between > MOST_NAMED)
                sentence += ", ... (" + std::to_string(between) + " files)";
        }
        CheckedFile& checked = files_[file];
        checked.findings.push_back(
            {&rules::LOOP, checked.links[edge.link].place, std::move(sentence)});
    }

    const Graph& graph_;
    const std::vector<CheckSource>& sources_;
    std::vector<CheckedFile>& files_;
    std::vector<State> state_;
    std::vector<Stop> way_;
};

/// The path of a URL after the host, without its query.
std::string pathOf(const std::string& url) {
    const std::size_t host = url.find("://");
    const std::size_t path = host == std::string::npos ? host : url.find('/', host + 3);
    if (path == std::string::npos)
        return {};
    return url.substr(path, url.find_first_of("?#", path) - path);
}

} // namespace

LinkMap::LinkMap(const std::vector<CheckSource>& sources, bool isBaseKnown) {
    for (std::size_t number = 0; number < sources.size(); ++number) {
        byAddress_.emplace(sources[number].address.getUrl(), number);
        if (!isBaseKnown && !sources[number].relativePath.empty())
            byPath_.emplace("/" + sources[number].relativePath, number);
    }
}

std::optional<std::size_t> LinkMap::find(const Link& link) const {
    if (const auto found = byAddress_.find(link.url); found != byAddress_.end())
        return found->second;
    if (link.isRelative)
        return std::nullopt;
    for (std::string path = pathOf(link.url); !path.empty();) {
        if (const auto found = byPath_.find(path); found != byPath_.end())
            return found->second;
        const std::size_t next = path.find('/', 1);
        path = next == std::string::npos ? std::string() : path.substr(next);
    }
    return std::nullopt;
}

void findLoops(const std::vector<CheckSource>& sources, bool isBaseKnown,
               std::vector<CheckedFile>& files) {
    const LinkMap map(sources, isBaseKnown);
    Graph graph(files.size());
    for (std::size_t file = 0; file < files.size(); ++file)
        for (std::size_t link = 0; link < files[file].links.size(); ++link)
            if (const auto target = map.find(files[file].links[link]))
                graph[file].push_back({*target, link});
    LoopSearch(graph, sources, files).run();
}

} // namespace ovoctl::check
