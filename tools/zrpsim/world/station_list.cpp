#include "tools/zrpsim/world/station_list.h"

#include <algorithm>
#include <cstring>
#include <sstream>

#include "tools/zrpsim/world/whole_number.h"

namespace zrp::sim {
namespace {

bool read_words(std::string text, std::set<int>& stations) {
    std::replace(text.begin(), text.end(), ',', ' ');
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const auto station = whole_number<int>(word);
        if (!station) {
            return false;
        }
        stations.insert(*station);
    }
    return true;
}

} // namespace

Outcome read_stations(pugi::xml_node node, const char* tag, std::set<int>& stations) {
    const pugi::xml_node wrong = node.find_node([&](pugi::xml_node inner) {
        return std::strcmp(inner.name(), tag) == 0 && !read_words(inner.text().get(), stations);
    });
    if (wrong) {
        return {kBadRequest, std::string("not a station number: ") + wrong.text().get()};
    }
    return {};
}

Outcome check_stations(World& world, const std::set<int>& stations) {
    for (const int station : stations) {
        if (find_connection(world, station) == nullptr) {
            return {kNoSuchObject, "no such connection: " + std::to_string(station)};
        }
    }
    return {};
}

} // namespace zrp::sim
